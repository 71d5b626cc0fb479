#include "core/capture/linux/imaging/ViewerAreaAxis.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace velmora {
namespace {

ViewerAreaAxis randomAxis(std::mt19937& generator) {
    const std::int64_t source = std::uniform_int_distribution<std::int64_t>(1, 400)(generator);
    return {source, std::uniform_int_distribution<std::int64_t>(1, source)(generator)};
}

TEST(ViewerAreaAxis, EveryTargetPixelCoversTheSameLengthAndEverySourcePixelIsCoveredWhole) {
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const ViewerAreaAxis axis = randomAxis(generator);
        for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
            std::int64_t covered = 0;
            for (std::int64_t source = 0; source < axis.sourceLength(); ++source) {
                covered += axis.overlap(source, target);
            }
            ASSERT_EQ(covered, axis.sourceLength());
        }
        for (std::int64_t source = 0; source < axis.sourceLength(); ++source) {
            std::int64_t covered = 0;
            for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
                covered += axis.overlap(source, target);
            }
            ASSERT_EQ(covered, axis.targetLength());
        }
    }
}

TEST(ViewerAreaAxis, TheRangesHoldJustThePixelsThatOverlap) {
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const ViewerAreaAxis axis = randomAxis(generator);
        for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
            for (std::int64_t source = 0; source < axis.sourceLength(); ++source) {
                const bool overlaps = axis.overlap(source, target) > 0;
                ASSERT_EQ(source >= axis.sourceBegin(target) && source < axis.sourceEnd(target),
                          overlaps);
                ASSERT_EQ(target >= axis.targetBegin(source) && target < axis.targetEnd(source),
                          overlaps);
            }
        }
    }
}

TEST(ViewerAreaAxis, IsIntegralWhenNoSourcePixelIsShared) {
    EXPECT_TRUE(ViewerAreaAxis(1920, 640).isIntegral());
    EXPECT_TRUE(ViewerAreaAxis(7, 7).isIntegral());
    EXPECT_FALSE(ViewerAreaAxis(2560, 576).isIntegral());
}

TEST(ViewerAreaAxisDeathTest, AnEnlargementStopsTheProcess) {
    EXPECT_DEATH(ViewerAreaAxis(359, 360), "an area average reduces");
    EXPECT_DEATH(ViewerAreaAxis(1, 0), "an area average reduces");
    EXPECT_DEATH(ViewerAreaAxis(ViewerAreaAxis::maxLength + 1, 1), "an area average reduces");
}

}  // namespace
}  // namespace velmora
