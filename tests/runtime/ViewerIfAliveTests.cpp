#include "core/runtime/ViewerIfAlive.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace velmora {
namespace {

class Total final {
  public:
    void add(int number) { sum += number; }

    int sum = 0;
};

TEST(ViewerIfAlive, CallsAMemberOfAnObjectThatIsThere) {
    const auto total = std::make_shared<Total>();
    const auto add = ifAlive(std::weak_ptr(total), &Total::add);
    add(3);
    add(4);
    EXPECT_EQ(total->sum, 7);
}

TEST(ViewerIfAlive, DoesNothingOnceTheObjectIsGone) {
    auto total = std::make_shared<Total>();
    int calls = 0;
    const auto add = ifAlive(std::weak_ptr(total), [&calls](Total&) { ++calls; });
    add();
    total.reset();
    add();
    EXPECT_EQ(calls, 1);
}

TEST(ViewerIfAlive, KeepsTheObjectWhileACallLasts) {
    auto total = std::make_shared<Total>();
    const std::weak_ptr<Total> seen = total;
    const auto drop = ifAlive(seen, [&total, &seen](Total&) {
        total.reset();
        EXPECT_FALSE(seen.expired());
    });
    drop();
    EXPECT_TRUE(seen.expired());
}

TEST(ViewerIfAlive, PassesOnWhatCanOnlyBeMoved) {
    const auto total = std::make_shared<Total>();
    int got = 0;
    const auto take =
        ifAlive(std::weak_ptr(total), [&got](Total&, std::unique_ptr<int> only) { got = *only; });
    take(std::make_unique<int>(5));
    EXPECT_EQ(got, 5);
}

}  // namespace
}  // namespace velmora
