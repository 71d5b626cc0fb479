#include "core/runtime/ViewerAction.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <utility>

namespace velmora {
namespace {

TEST(ViewerAction, CallsTheFunctionThatItWasMadeOf) {
    int calls = 0;
    const ViewerAction action = [&calls] { ++calls; };
    EXPECT_TRUE(action);
    EXPECT_EQ(calls, 0);
    action();
    EXPECT_EQ(calls, 1);
}

TEST(ViewerAction, TakesAsMuchAsAWeakPointerAndAUUIDAndMore) {
    constexpr std::array<std::uint64_t, 5> given{1, 2, 3, 4, 5};
    static std::array<std::uint64_t, 5> seen;
    ViewerAction first = [given] { seen = given; };
    const ViewerAction second = std::move(first);
    second();
    EXPECT_EQ(seen, given);
}

TEST(ViewerAction, TakesAFunctionThatCanOnlyBeMoved) {
    int seen = 0;
    ViewerAction first = [&seen, only = std::make_unique<int>(7)] { seen = *only; };
    const ViewerAction second = std::move(first);
    second();
    EXPECT_EQ(seen, 7);
}

TEST(ViewerAction, OneThatWasMovedFromIsEmpty) {
    int calls = 0;
    ViewerAction from = [&calls] { ++calls; };
    const ViewerAction to = std::move(from);
    EXPECT_FALSE(from);  // NOLINT(bugprone-use-after-move): what it is afterwards is asked.
    EXPECT_TRUE(to);
    EXPECT_FALSE(ViewerAction());
}

TEST(ViewerAction, HoldsWhatItsFunctionHoldsOnceAndAsLongAsItLives) {
    const auto held = std::make_shared<int>(0);
    {
        ViewerAction first = [held] { (void)held; };
        const ViewerAction second = std::move(first);
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
}

TEST(ViewerAction, LetsGoOfItsFunctionWhenAnotherTakesItsPlace) {
    const auto before = std::make_shared<int>(0);
    int calls = 0;
    ViewerAction action = [before] { (void)before; };
    action = [&calls] { ++calls; };
    EXPECT_EQ(before.use_count(), 1);
    action();
    EXPECT_EQ(calls, 1);
    action = ViewerAction();
    EXPECT_FALSE(action);
}

TEST(ViewerAction, OneThatIsMovedToItselfStays) {
    int calls = 0;
    ViewerAction action = [&calls] { ++calls; };
    ViewerAction& same = action;
    action = std::move(same);
    ASSERT_TRUE(action);
    action();
    EXPECT_EQ(calls, 1);
}

TEST(ViewerActionDeathTest, AnEmptyOneIsNotCalled) {
    EXPECT_DEATH(ViewerAction()(), "only an action that is there is called");
}

}  // namespace
}  // namespace velmora
