#include "core/capture/linux/imaging/ViewerAreaAverage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/imaging/InstructionSets.h"
#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

TestPicture reduced(const TestPicture& source, std::int64_t width, std::int64_t height) {
    TestPicture target(width, height);
    const ViewerAreaAverage average(source.width, source.height, width, height);
    average.reduce({0, 0, width, height}, source.bytes.data(), source.bytesPerRow(),
                   target.bytes.data(), target.bytesPerRow());
    return target;
}

/// The largest distance between a channel and the average that it stands for, in levels.
double largestError(const TestPicture& picture, const std::vector<double>& averages) {
    double largest = 0;
    for (std::size_t index = 0; index < averages.size(); ++index) {
        largest = std::max(largest, std::abs(picture.bytes[index] - averages[index]));
    }
    return largest;
}

/// A source size and a target size in one direction, the ratio at most 12.
std::pair<std::int64_t, std::int64_t> randomLengths(std::mt19937& generator) {
    const std::int64_t target = std::uniform_int_distribution<std::int64_t>(1, 70)(generator);
    const std::int64_t source =
        std::uniform_int_distribution<std::int64_t>(target, 12 * target)(generator);
    return {source, target};
}

TEST(ViewerAreaAverage, AnIntegralRatioGivesTheRoundedAverageExactly) {
    std::mt19937 generator(1);
    for (std::int64_t columns = 1; columns <= 128; ++columns) {
        for (std::int64_t rows = 1; rows <= 128 / columns; ++rows) {
            SCOPED_TRACE(std::to_string(columns) + " × " + std::to_string(rows));
            const std::int64_t width = 7;
            const std::int64_t height = 2;
            const auto source = TestPicture::random(width * columns, height * rows, generator);
            TestPicture expected(width, height);
            for (std::int64_t y = 0; y < height; ++y) {
                for (std::int64_t x = 0; x < width; ++x) {
                    for (std::size_t channel = 0; channel < TestPicture::channels; ++channel) {
                        std::int64_t sum = 0;
                        for (std::int64_t row = y * rows; row < (y + 1) * rows; ++row) {
                            for (std::int64_t column = x * columns; column < (x + 1) * columns;
                                 ++column) {
                                sum += source.pixel(column, row)[channel];
                            }
                        }
                        const std::int64_t area = rows * columns;
                        expected.pixel(x, y)[channel] =
                            static_cast<std::uint8_t>((sum + area / 2) / area);
                    }
                }
            }
            forEachInstructionSet(
                [&] { ASSERT_EQ(reduced(source, width, height).bytes, expected.bytes); });
        }
    }
}

TEST(ViewerAreaAverage, ALargeIntegralRatioIsAFiftiethOfALevelOffAtMost) {
    std::mt19937 generator(9);
    for (const auto& [columns, rows] :
         {std::pair<std::int64_t, std::int64_t>{12, 12}, {31, 128}, {100, 90}, {128, 128}}) {
        SCOPED_TRACE(std::to_string(columns) + " × " + std::to_string(rows));
        auto source = TestPicture::random(5 * columns, 2 * rows, generator);
        // Bright, since an error in the weights grows with what is weighed.
        for (std::uint8_t& byte : source.bytes) {
            byte |= 0xE0;
        }
        const auto averages = areaAverages(source, 5, 2);
        forEachInstructionSet(
            [&] { EXPECT_LE(largestError(reduced(source, 5, 2), averages), 0.52); });
    }
}

TEST(ViewerAreaAverage, AnyRatioRoundsToTheNearestLevelWithinATwentiethOfOne) {
    for (std::uint32_t seed = 0; seed < 80; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const auto [sourceWidth, width] = randomLengths(generator);
        const auto [sourceHeight, height] = randomLengths(generator);
        const auto source = TestPicture::random(sourceWidth, sourceHeight, generator);
        const auto averages = areaAverages(source, width, height);
        forEachInstructionSet(
            [&] { ASSERT_LE(largestError(reduced(source, width, height), averages), 0.55); });
    }
}

TEST(ViewerAreaAverage, NoiseIsReducedWithMoreThanSixtyDecibels) {
    const std::array<std::array<std::int64_t, 4>, 7> sizes{{{1920, 1080, 640, 360},
                                                            {640, 400, 576, 360},
                                                            {2560, 160, 576, 36},
                                                            {1512, 982, 554, 360},
                                                            {1366, 768, 640, 359},
                                                            {641, 361, 640, 360},
                                                            {3456, 223, 556, 36}}};
    for (const auto& [sourceWidth, sourceHeight, width, height] : sizes) {
        SCOPED_TRACE(std::to_string(sourceWidth) + " × " + std::to_string(sourceHeight));
        std::mt19937 generator(2);
        const auto source = TestPicture::random(sourceWidth, sourceHeight, generator);
        EXPECT_GE(
            signalToNoise(reduced(source, width, height), areaAverages(source, width, height)), 60);
    }
}

TEST(ViewerAreaAverage, EveryInstructionSetGivesTheSameBits) {
    for (std::uint32_t seed = 1000; seed < 1050; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const auto [sourceWidth, width] = randomLengths(generator);
        const auto [sourceHeight, height] = randomLengths(generator);
        const auto source = TestPicture::random(sourceWidth, sourceHeight, generator);
        const auto expected = reduced(source, width, height);
        forEachInstructionSet(
            [&] { ASSERT_EQ(reduced(source, width, height).bytes, expected.bytes); });
    }
}

TEST(ViewerAreaAverage, AnEvenAreaKeepsItsColourAtEveryRatio) {
    for (const std::uint8_t level : std::initializer_list<std::uint8_t>{0, 1, 128, 255}) {
        const auto source = TestPicture::filled(1200, 90, {level, level, level, level});
        for (std::int64_t width = 10; width <= 1200; width += 37) {
            const std::int64_t height = 1 + width * 89 / 1200;
            const auto target = reduced(source, width, height);
            ASSERT_TRUE(std::ranges::all_of(target.bytes, [&](auto byte) { return byte == level; }))
                << width << " × " << height << " of level " << int{level};
        }
    }
}

TEST(ViewerAreaAverage, APictureOfTheTargetsSizeIsCopied) {
    std::mt19937 generator(3);
    const auto source = TestPicture::random(61, 17, generator);
    EXPECT_EQ(reduced(source, 61, 17).bytes, source.bytes);
}

TEST(ViewerAreaAverage, OneDirectionMayBeReducedAlone) {
    std::mt19937 generator(4);
    const auto source = TestPicture::random(100, 70, generator);
    for (const auto& [width, height] :
         {std::pair<std::int64_t, std::int64_t>{100, 35}, {100, 33}, {50, 70}, {33, 70}}) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        const auto averages = areaAverages(source, width, height);
        forEachInstructionSet(
            [&] { EXPECT_LE(largestError(reduced(source, width, height), averages), 0.52); });
    }
}

TEST(ViewerAreaAverage, RatiosBeyondSixteenBitSumsAreAveragedToo) {
    std::mt19937 generator(5);
    const std::array<std::array<std::int64_t, 4>, 7> sizes{{{129, 3, 1, 1},
                                                            {3, 129, 1, 1},
                                                            {257, 2, 2, 1},
                                                            {1000, 900, 1, 1},
                                                            {20, 3000, 3, 7},
                                                            {60000, 2, 640, 1},
                                                            {384, 385, 3, 3}}};
    for (const auto& [sourceWidth, sourceHeight, width, height] : sizes) {
        SCOPED_TRACE(std::to_string(sourceWidth) + " × " + std::to_string(sourceHeight));
        const auto white = TestPicture::filled(sourceWidth, sourceHeight, {255, 255, 255, 255});
        const auto noise = TestPicture::random(sourceWidth, sourceHeight, generator);
        const auto averages = areaAverages(noise, width, height);
        forEachInstructionSet([&] {
            EXPECT_LE(largestError(reduced(noise, width, height), averages), 0.55);
            EXPECT_EQ(reduced(white, width, height).bytes,
                      TestPicture::filled(width, height, {255, 255, 255, 255}).bytes);
        });
    }
}

TEST(ViewerAreaAverage, TheRectanglesOfADamagedPixelHoldEveryPixelThatItChanges) {
    std::mt19937 generator(6);
    const auto source = TestPicture::filled(151, 98, {0, 0, 0, 0});
    const auto before = reduced(source, 55, 36);
    const ViewerAreaAverage average(source.width, source.height, 55, 36);
    for (int change = 0; change < 200; ++change) {
        const auto x = static_cast<std::int64_t>(generator() % 151);
        const auto y = static_cast<std::int64_t>(generator() % 98);
        auto changed = source;
        std::fill_n(changed.pixel(x, y), TestPicture::channels, 255);
        const auto after = reduced(changed, 55, 36);
        const auto touched = average.targetFor({x, y, 1, 1});
        for (std::int64_t row = 0; row < after.height; ++row) {
            for (std::int64_t column = 0; column < after.width; ++column) {
                const bool isInside = column >= touched.x && column < touched.x + touched.width &&
                                      row >= touched.y && row < touched.y + touched.height;
                if (!isInside) {
                    ASSERT_EQ(*after.pixel(column, row), *before.pixel(column, row));
                }
            }
        }
    }
}

TEST(ViewerAreaAverage, RectanglesAreClippedToTheirPicture) {
    const ViewerAreaAverage average(1920, 1080, 640, 360);
    EXPECT_EQ(average.sourceFor({0, 0, 640, 360}), (ViewerRectangle{0, 0, 1920, 1080}));
    EXPECT_EQ(average.sourceFor({-5, 359, 7, 9}), (ViewerRectangle{0, 1077, 6, 3}));
    EXPECT_EQ(average.sourceFor({640, 0, 1, 1}), ViewerRectangle{});
    EXPECT_EQ(average.sourceFor({3, 3, 0, 5}), ViewerRectangle{});
    EXPECT_EQ(average.targetFor({-100, -100, 5000, 5000}), (ViewerRectangle{0, 0, 640, 360}));
    EXPECT_EQ(average.targetFor({2, 1079, 2, 1}), (ViewerRectangle{0, 359, 2, 1}));
    EXPECT_EQ(average.targetFor({0, 1080, 1920, 1}), ViewerRectangle{});
    EXPECT_EQ(average.targetFor({10, 10, 10, 0}), ViewerRectangle{});
}

}  // namespace
}  // namespace velmora
