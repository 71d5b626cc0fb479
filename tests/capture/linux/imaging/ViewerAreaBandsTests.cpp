#include "core/capture/linux/imaging/ViewerAreaBands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/capture/ViewerTargetSize.h"

namespace velmora {
namespace {

ViewerAreaAverage reduction(std::int64_t width, std::int64_t height) {
    const ViewerTargetSize target = ViewerJPEGEncoder::targetSize(width, height);
    return {width, height, static_cast<std::int64_t>(target.width),
            static_cast<std::int64_t>(target.height)};
}

std::vector<ViewerRectangle> bandsOf(const ViewerAreaAverage& average,
                                     const std::vector<ViewerRectangle>& parts,
                                     std::size_t maximumPixels) {
    ViewerAreaBands bands(average, parts, maximumPixels);
    std::vector<ViewerRectangle> result;
    while (const auto band = bands.next()) {
        result.push_back(*band);
    }
    return result;
}

TEST(ViewerAreaBands, OfNothingThereAreNone) {
    const ViewerAreaAverage average = reduction(1920, 1080);
    EXPECT_TRUE(bandsOf(average, {}, 1000).empty());
    EXPECT_TRUE(bandsOf(average, {{3, 3, 0, 5}, {3, 3, 5, 0}}, 1000).empty());
}

TEST(ViewerAreaBands, ASmallPartIsOneBand) {
    const ViewerAreaAverage average = reduction(1920, 1080);
    const std::vector<ViewerRectangle> parts{{10, 20, 30, 10}, {100, 100, 2, 2}};
    EXPECT_EQ(bandsOf(average, parts, std::size_t{90} * 30), parts);
}

TEST(ViewerAreaBands, ALargePartIsCutIntoRowsThatFillABand) {
    const ViewerAreaAverage average = reduction(1920, 1080);
    const auto bands = bandsOf(average, {{0, 0, 640, 360}}, std::size_t{1920} * 3 * 100);
    ASSERT_EQ(bands.size(), 4U);
    EXPECT_EQ(bands.front(), (ViewerRectangle{0, 0, 640, 100}));
    EXPECT_EQ(bands.back(), (ViewerRectangle{0, 300, 640, 60}));
}

TEST(ViewerAreaBands, ARowThatIsTooLongIsCutToo) {
    const ViewerAreaAverage average = reduction(32767, 64);
    for (const ViewerRectangle& band : bandsOf(average, {{0, 0, 640, 1}}, 16384)) {
        EXPECT_LT(band.width, 640);
    }
}

TEST(ViewerAreaBands, EveryPixelIsInOneBandAndNoBandIsTooLarge) {
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        const auto between = [&](std::int64_t low, std::int64_t high) {
            return low + static_cast<std::int64_t>(engine()) % (high - low + 1);
        };
        const ViewerAreaAverage average = reduction(between(1, 20000), between(1, 6000));
        const std::int64_t width = average.targetWidth();
        const std::int64_t height = average.targetHeight();
        const std::int64_t x = between(0, width - 1);
        const std::int64_t y = between(0, height - 1);
        const ViewerRectangle part{x, y, between(1, width - x), between(1, height - y)};
        constexpr std::int64_t maximumPixels = 131072;
        std::vector<int> counts(static_cast<std::size_t>(width * height));
        for (const ViewerRectangle& band : bandsOf(average, {part}, maximumPixels)) {
            ASSERT_FALSE(band.isEmpty());
            EXPECT_EQ(intersection(band, part), band);
            EXPECT_LE(average.sourceFor(band).area(), maximumPixels);
            for (std::int64_t row = band.y; row < band.bottom(); ++row) {
                for (std::int64_t column = band.x; column < band.right(); ++column) {
                    ++counts[static_cast<std::size_t>(row * width + column)];
                }
            }
        }
        EXPECT_EQ(std::ranges::count(counts, 1), part.area());
        EXPECT_EQ(std::ranges::count(counts, 0), width * height - part.area());
    }
}

}  // namespace
}  // namespace velmora
