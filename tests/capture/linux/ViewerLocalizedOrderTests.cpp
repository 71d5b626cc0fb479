#include "core/capture/linux/ViewerLocalizedOrder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using Variables = std::map<std::string, std::string>;

std::string localeIn(const Variables& variables) {
    return ViewerLocalizedOrder::environmentLocale([&](const char* name) -> const char* {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    });
}

/// Whether each name comes before all that follow it, and none of those before it.
testing::AssertionResult areAscending(const ViewerLocalizedOrder& order,
                                      const std::vector<std::string>& names) {
    for (std::size_t first = 0; first < names.size(); ++first) {
        for (std::size_t second = first + 1; second < names.size(); ++second) {
            if (!order.isAscending(names[first], names[second]) ||
                order.isAscending(names[second], names[first])) {
                return testing::AssertionFailure() << names[first] << ", " << names[second];
            }
        }
    }
    return testing::AssertionSuccess();
}

TEST(ViewerLocalizedOrder, DigitsCountByTheirValue) {
    const ViewerLocalizedOrder order("en_US.UTF-8");
    EXPECT_TRUE(areAscending(order, {"Display 1", "Display 2", "Display 10", "Display 100 a"}));
}

TEST(ViewerLocalizedOrder, LetterCaseCountsForNothing) {
    const ViewerLocalizedOrder order("en_US.UTF-8");
    EXPECT_FALSE(order.isAscending("display", "DISPLAY"));
    EXPECT_FALSE(order.isAscending("DISPLAY", "display"));
    EXPECT_TRUE(areAscending(order, {"alpha", "Beta", "gamma"}));
}

TEST(ViewerLocalizedOrder, AccentsCountAfterTheLetters) {
    const ViewerLocalizedOrder order("en_US.UTF-8");
    EXPECT_TRUE(areAscending(order, {"cote", "coté", "cotf"}));
}

TEST(ViewerLocalizedOrder, EachLocaleHasItsAlphabet) {
    EXPECT_TRUE(areAscending(ViewerLocalizedOrder("sv_SE.UTF-8"), {"a", "z", "ä"}));
    EXPECT_TRUE(areAscending(ViewerLocalizedOrder("de_DE.UTF-8"), {"a", "ä", "z"}));
    EXPECT_TRUE(areAscending(ViewerLocalizedOrder("ru_RU.UTF-8"), {"елка", "ёлка", "жук"}));
}

TEST(ViewerLocalizedOrder, TheRootAndARefusedLocaleSortForMostLanguages) {
    for (const char* locale : {"", "en@a=b;c", "no such locale"}) {
        SCOPED_TRACE(locale);
        const ViewerLocalizedOrder order(locale);
        EXPECT_TRUE(areAscending(order, {"a 2", "Ä 10", "b", "Gamma", "z", "Ж"}));
    }
}

TEST(ViewerLocalizedOrder, BytesThatAreNotUTF8AreComparedToo) {
    const ViewerLocalizedOrder order("");
    EXPECT_FALSE(order.isAscending("\xFF", "\xFF"));
    EXPECT_TRUE(order.isAscending("a", "a\xFF"));
    EXPECT_FALSE(order.isAscending("a\xFF", "a"));
    EXPECT_FALSE(order.isAscending("", ""));
}

TEST(ViewerLocalizedOrder, TheFirstVariableWithAValueNamesTheLocale) {
    EXPECT_EQ(localeIn({{"LC_ALL", "ru_RU"}, {"LC_COLLATE", "de_DE"}, {"LANG", "sv_SE"}}), "ru_RU");
    EXPECT_EQ(localeIn({{"LC_ALL", ""}, {"LC_COLLATE", "de_DE"}, {"LANG", "sv_SE"}}), "de_DE");
    EXPECT_EQ(localeIn({{"LC_CTYPE", "fr_FR"}, {"LANG", "sv_SE.UTF-8"}}), "sv_SE.UTF-8");
    EXPECT_EQ(localeIn({{"LC_ALL", "C"}, {"LANG", "sv_SE"}}), "") << "C is a value";
}

TEST(ViewerLocalizedOrder, POSIXsOwnLocaleAndNoneAtAllAreTheRoot) {
    EXPECT_EQ(localeIn({}), "");
    EXPECT_EQ(localeIn({{"LANG", ""}}), "");
    for (const char* locale : {"C", "POSIX", "C.UTF-8", "C.utf8", "POSIX@x"}) {
        EXPECT_EQ(localeIn({{"LC_ALL", locale}}), "") << locale;
    }
    EXPECT_EQ(localeIn({{"LANG", "Catalan"}}), "Catalan");
}

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
