#include "core/capture/linux/imaging/ViewerYUVPlanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <string>

#include "tests/support/imaging/InstructionSets.h"
#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

/// The conversion in real numbers, before rounding.
struct RealColour final {
    double luma;
    double blueDifference;
    double redDifference;
};

RealColour converted(double blue, double green, double red) {
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    return {luma, std::min(128 + (blue - luma) / 1.772, 255.0),
            std::min(128 + (red - luma) / 1.402, 255.0)};
}

RealColour converted(const TestPicture& picture, std::int64_t x, std::int64_t y) {
    const auto* pixel =
        picture.pixel(std::min(x, picture.width - 1), std::min(y, picture.height - 1));
    return converted(pixel[0], pixel[1], pixel[2]);
}

/// Behind the last squares they are repeated.
RealColour convertedSquare(const TestPicture& picture, std::int64_t across, std::int64_t down) {
    const std::int64_t x = std::min(across, (picture.width - 1) / 2);
    const std::int64_t y = std::min(down, (picture.height - 1) / 2);
    std::array<double, 3> sums{};
    for (const std::int64_t row : {2 * y, std::min(2 * y + 1, picture.height - 1)}) {
        for (const std::int64_t column : {2 * x, std::min(2 * x + 1, picture.width - 1)}) {
            for (std::size_t channel = 0; channel < sums.size(); ++channel) {
                sums[channel] += picture.pixel(column, row)[channel];
            }
        }
    }
    return converted(sums[0] / 4, sums[1] / 4, sums[2] / 4);
}

/// Rounding, and the last bit of the coefficients.
constexpr double tolerance = 0.51;

ViewerRectangle whole(const TestPicture& picture) {
    return {0, 0, picture.width, picture.height};
}

void expectConverted(const TestPicture& picture) {
    ViewerYUVPlanes planes;
    planes.convert(picture.buffer(), whole(picture));
    const std::int64_t chromaWidth = (picture.width + 15) / 16 * 8;
    const std::int64_t chromaHeight = (picture.height + 15) / 16 * 8;
    ASSERT_EQ(planes.chromaWidth(), static_cast<std::size_t>(chromaWidth));
    ASSERT_EQ(planes.lumaWidth(), static_cast<std::size_t>(2 * chromaWidth));
    ASSERT_EQ(planes.luma().size(), static_cast<std::size_t>(4 * chromaWidth * chromaHeight));
    for (std::int64_t y = 0; y < 2 * chromaHeight; ++y) {
        for (std::int64_t x = 0; x < 2 * chromaWidth; ++x) {
            ASSERT_NEAR(planes.luma()[static_cast<std::size_t>(y * 2 * chromaWidth + x)],
                        converted(picture, x, y).luma, tolerance)
                << x << ", " << y;
        }
    }
    for (std::int64_t y = 0; y < chromaHeight; ++y) {
        for (std::int64_t x = 0; x < chromaWidth; ++x) {
            const RealColour real = convertedSquare(picture, x, y);
            const auto index = static_cast<std::size_t>(y * chromaWidth + x);
            ASSERT_NEAR(planes.blueDifference()[index], real.blueDifference, tolerance);
            ASSERT_NEAR(planes.redDifference()[index], real.redDifference, tolerance);
        }
    }
}

void expectEqual(ViewerYUVPlanes& a, ViewerYUVPlanes& b) {
    EXPECT_TRUE(std::ranges::equal(a.luma(), b.luma()));
    EXPECT_TRUE(std::ranges::equal(a.blueDifference(), b.blueDifference()));
    EXPECT_TRUE(std::ranges::equal(a.redDifference(), b.redDifference()));
}

TEST(ViewerYUVPlanes, NoiseOfAnySizeIsConvertedAndRoundedOnce) {
    for (std::uint32_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const auto width = static_cast<std::int64_t>(1 + generator() % 150);
        const auto height = static_cast<std::int64_t>(1 + generator() % 9);
        const auto picture = TestPicture::random(width, height, generator);
        forEachInstructionSet([&] { expectConverted(picture); });
    }
}

TEST(ViewerYUVPlanes, EveryMixtureOfTheExtremesStaysInRange) {
    // Squares of which each pixel is one of the eight corners of the colour cube.
    TestPicture picture(128, 64);
    for (std::int64_t y = 0; y < picture.height; ++y) {
        for (std::int64_t x = 0; x < picture.width; ++x) {
            const std::int64_t square = y / 2 * 64 + x / 2;
            const std::int64_t corner = square >> (3 * (x % 2 + 2 * (y % 2))) & 7;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                picture.pixel(x, y)[channel] = (corner >> channel & 1) != 0 ? 255 : 0;
            }
        }
    }
    forEachInstructionSet([&] { expectConverted(picture); });
}

TEST(ViewerYUVPlanes, GreyHasNoColourDifference) {
    TestPicture picture(256, 1);
    for (std::int64_t level = 0; level < 256; ++level) {
        std::fill_n(picture.pixel(level, 0), TestPicture::channels,
                    static_cast<std::uint8_t>(level));
    }
    forEachInstructionSet([&] {
        ViewerYUVPlanes planes;
        planes.convert(picture.buffer(), whole(picture));
        for (std::size_t level = 0; level < 256; ++level) {
            EXPECT_EQ(planes.luma()[level], level);
            EXPECT_EQ(planes.blueDifference()[level / 2], 128);
            EXPECT_EQ(planes.redDifference()[level / 2], 128);
        }
    });
}

TEST(ViewerYUVPlanes, TheUnusedByteCountsForNothing) {
    std::mt19937 generator(7);
    auto picture = TestPicture::random(70, 3, generator);
    ViewerYUVPlanes expected;
    expected.convert(picture.buffer(), whole(picture));
    for (std::size_t index = 3; index < picture.bytes.size(); index += 4) {
        picture.bytes[index] = static_cast<std::uint8_t>(generator());
    }
    forEachInstructionSet([&] {
        ViewerYUVPlanes planes;
        planes.convert(picture.buffer(), whole(picture));
        expectEqual(planes, expected);
    });
}

TEST(ViewerYUVPlanes, APictureAfterALargerOneIsConvertedAsIfItWereTheFirst) {
    std::mt19937 generator(8);
    const auto large = TestPicture::random(90, 50, generator);
    const auto small = TestPicture::random(31, 7, generator);
    ViewerYUVPlanes fresh;
    fresh.convert(small.buffer(), whole(small));
    ViewerYUVPlanes used;
    used.convert(large.buffer(), whole(large));
    used.convert(small.buffer(), whole(small));
    expectEqual(used, fresh);
    EXPECT_EQ(used.lumaWidth(), 32U);
}

TEST(ViewerYUVPlanes, APartIsConvertedLikeAPictureOfItsOwn) {
    std::mt19937 generator(9);
    const auto picture = TestPicture::random(100, 60, generator);
    for (const ViewerRectangle& part :
         {ViewerRectangle{0, 0, 32, 16}, ViewerRectangle{64, 16, 36, 16},
          ViewerRectangle{80, 48, 20, 12}}) {
        TestPicture own(part.width, part.height);
        for (std::int64_t y = 0; y < part.height; ++y) {
            std::copy_n(picture.pixel(part.x, part.y + y), own.bytesPerRow(), own.pixel(0, y));
        }
        forEachInstructionSet([&] {
            ViewerYUVPlanes planes;
            planes.convert(picture.buffer(), part);
            ViewerYUVPlanes expected;
            expected.convert(own.buffer(), whole(own));
            expectEqual(planes, expected);
        });
    }
}

}  // namespace
}  // namespace velmora
