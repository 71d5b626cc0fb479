#include "core/capture/linux/imaging/ViewerAreaPlan.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(ViewerAreaPlan, IsMadeForRatiosThatSixteenBitsHold) {
    const ViewerAreaAxis even(256, 2);
    EXPECT_TRUE(ViewerAreaPlan::isPossible(even));
    EXPECT_EQ(ViewerAreaPlan(even, even).columns().firstSource.size(), 2U);
}

TEST(ViewerAreaPlanDeathTest, IsNotMadeForOthers) {
    const ViewerAreaAxis even(256, 2);
    const ViewerAreaAxis steep(257, 2);
    EXPECT_FALSE(ViewerAreaPlan::isPossible(steep));
    EXPECT_DEATH(ViewerAreaPlan(steep, even), "16-bit sums hold the average's ratio");
    EXPECT_DEATH(ViewerAreaPlan(even, steep), "16-bit sums hold the average's ratio");
}

}  // namespace
}  // namespace velmora
