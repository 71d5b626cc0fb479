#include "core/capture/ViewerLocalizedOrder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>
#include <vector>

namespace velmora {
namespace {

/// The exit status of a process that compares by the locale of its environment.
[[noreturn]] void compareAndExit(const char* locale) {
    // A process of one thread; a failure shows in the comparison.
    (void)::setenv("LC_ALL", locale, 1);  // NOLINT(concurrency-mt-unsafe)
    const bool isLast = ViewerLocalizedOrder::comesBefore("z", "ä");
    const bool isBefore = ViewerLocalizedOrder::comesBefore("ä", "z");
    ::_exit(isLast && !isBefore ? 1 : 2);
}

TEST(ViewerLocalizedOrderDeathTest, TheProcessComparesByItsEnvironment) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(compareAndExit("sv_SE.UTF-8"), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(compareAndExit("C"), testing::ExitedWithCode(2), "");
}

TEST(ViewerLocalizedOrder, AnyThreadsMayCompareAtOnce) {
    std::vector<int> inOrder(4, 0);
    std::vector<std::thread> threads;
    threads.reserve(inOrder.size());
    for (int& count : inOrder) {
        threads.emplace_back([&count] {
            for (int round = 0; round < 1000; ++round) {
                count += ViewerLocalizedOrder::comesBefore("Display 2", "display 10") ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(inOrder, std::vector<int>(4, 1000));
}

}  // namespace
}  // namespace velmora
