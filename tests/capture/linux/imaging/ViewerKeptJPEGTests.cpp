#include "core/capture/linux/imaging/ViewerKeptJPEG.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/capture/ViewerImaging.h"
#include "tests/support/imaging/DecodedJPEG.h"
#include "tests/support/imaging/InstructionSets.h"
#include "tests/support/imaging/TestPicture.h"
#include "tests/support/imaging/WholeJPEG.h"

namespace velmora {
namespace {

constexpr double quality = 0.68;
constexpr int libraryQuality = 68;

using Bytes = std::vector<std::uint8_t>;

/// Something for every frequency: noise on slow waves.
TestPicture content(std::int64_t width, std::int64_t height, std::uint32_t seed) {
    std::mt19937 generator(seed);
    TestPicture picture(width, height);
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const auto noise = static_cast<std::int64_t>(generator() % 32);
            const auto level = static_cast<std::uint8_t>((2 * x + 3 * y + noise) % 256);
            std::uint8_t* const pixel = picture.pixel(x, y);
            pixel[0] = level;
            pixel[1] = static_cast<std::uint8_t>(x % 64 < 32 ? level : 255 - level);
            pixel[2] = static_cast<std::uint8_t>(static_cast<std::int64_t>(generator() % 2) * 20 +
                                                 y % 200);
        }
    }
    return picture;
}

/// The upper left corner of a picture, of this size.
ViewerPixelBuffer corner(const TestPicture& picture, std::int64_t width, std::int64_t height) {
    ViewerPixelBuffer result = picture.buffer();
    result.width = width;
    result.height = height;
    return result;
}

Bytes encodedAnew(const ViewerPixelBuffer& picture) {
    const auto jpeg = ViewerImaging::jpeg(picture, quality);
    EXPECT_TRUE(jpeg.has_value());
    return jpeg.value_or(Bytes());
}

void expectSeenAsWhole(const Bytes& jpeg, const ViewerPixelBuffer& picture) {
    const DecodedJPEG ours = decoded(jpeg);
    ASSERT_EQ(ours.picture.width, picture.width);
    ASSERT_EQ(ours.picture.height, picture.height);
    ASSERT_EQ(ours.picture.bytes, decoded(wholeJPEG(picture, libraryQuality)).picture.bytes);
}

void copyPiece(const TestPicture& source, TestPicture& target, const ViewerRectangle& piece) {
    for (std::int64_t y = piece.y; y < piece.bottom(); ++y) {
        std::copy_n(source.pixel(piece.x, y),
                    static_cast<std::size_t>(piece.width) * TestPicture::channels,
                    target.pixel(piece.x, y));
    }
}

TEST(ViewerKeptJPEG, EveryPatternOfChangedPiecesGivesTheBytesAndThePixelsOfAWholeEncode) {
    // Pieces in two columns and three rows, in one column, and in one row, also such as reach past
    // the edges.
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{320, 48},
                                        {310, 39},
                                        {33, 96},
                                        {1, 65},
                                        {640, 16},
                                        {575, 5}}) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        const TestPicture first = content(width, height, 1);
        const TestPicture second = content(width, height, 2);
        ViewerKeptJPEG jpeg(width, height);
        ViewerJPEGCompressor compressor;
        ASSERT_TRUE(jpeg.encode(first.buffer(), quality, compressor).has_value());
        const std::size_t count = jpeg.grid().count();
        ASSERT_GE(count, 4U);
        for (std::size_t pattern = 0; pattern < std::size_t{1} << count; ++pattern) {
            TestPicture picture = first;
            for (std::size_t piece = 0; piece < count; ++piece) {
                if ((pattern >> piece & 1) != 0) {
                    copyPiece(second, picture, jpeg.grid().piece(piece));
                    jpeg.outdate(piece);
                }
            }
            const auto changed = jpeg.encode(picture.buffer(), quality, compressor);
            ASSERT_EQ(changed, encodedAnew(picture.buffer())) << pattern;
            expectSeenAsWhole(*changed, picture.buffer());
            for (std::size_t piece = 0; piece < count; ++piece) {
                if ((pattern >> piece & 1) != 0) {
                    jpeg.outdate(piece);
                }
            }
            const auto back = jpeg.encode(first.buffer(), quality, compressor);
            ASSERT_EQ(back, encodedAnew(first.buffer())) << pattern;
        }
    }
}

TEST(ViewerKeptJPEG, WhatIsNotOutdatedIsKeptAndNotLookedAt) {
    const TestPicture first = content(320, 48, 1);
    const TestPicture second = content(320, 48, 2);
    ViewerKeptJPEG jpeg(320, 48);
    ViewerJPEGCompressor compressor;
    EXPECT_TRUE(jpeg.isOutdated(0));
    EXPECT_EQ(jpeg.encode(first.buffer(), quality, compressor), encodedAnew(first.buffer()));
    EXPECT_FALSE(jpeg.isOutdated(1));
    jpeg.outdate(1);
    EXPECT_TRUE(jpeg.isOutdated(1));
    TestPicture expected = first;
    copyPiece(second, expected, jpeg.grid().piece(1));
    EXPECT_EQ(jpeg.encode(second.buffer(), quality, compressor), encodedAnew(expected.buffer()));
    EXPECT_EQ(jpeg.encode(second.buffer(), quality, compressor), encodedAnew(expected.buffer()));
    // Of another picture of the same size nothing is kept.
    jpeg.begin(320, 48);
    EXPECT_EQ(jpeg.encode(second.buffer(), quality, compressor), encodedAnew(second.buffer()));
}

/// With a sanitizer, which takes ten times as long, one size of so many is looked at.
constexpr std::int64_t sizeStep = VIEWER_SIZE_STEP;

TEST(ViewerKeptJPEG, EveryWidthAndEveryHeightIsSeenAsAWholeEncode) {
    const TestPicture picture = content(640, 360, 3);
    for (std::int64_t width = 1; width <= 640; width += sizeStep) {
        for (const std::int64_t height : {1, 15, 16, 17, 360}) {
            SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
            const ViewerPixelBuffer part = corner(picture, width, height);
            ASSERT_NO_FATAL_FAILURE(expectSeenAsWhole(encodedAnew(part), part));
        }
    }
    for (std::int64_t height = 1; height <= 360; height += sizeStep) {
        for (const std::int64_t width : {1, 15, 16, 17, 640}) {
            SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
            const ViewerPixelBuffer part = corner(picture, width, height);
            ASSERT_NO_FATAL_FAILURE(expectSeenAsWhole(encodedAnew(part), part));
        }
    }
}

TEST(ViewerKeptJPEG, RandomSizesAreSeenAsAWholeEncode) {
    const TestPicture picture = content(640, 360, 4);
    std::mt19937 generator(5);
    constexpr int sizes = 10000 / sizeStep;
    for (int turn = 0; turn < sizes; ++turn) {
        const auto width = static_cast<std::int64_t>(1 + generator() % 640);
        const auto height = static_cast<std::int64_t>(1 + generator() % 360);
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        const ViewerPixelBuffer part = corner(picture, width, height);
        ASSERT_NO_FATAL_FAILURE(expectSeenAsWhole(encodedAnew(part), part));
    }
}

TEST(ViewerKeptJPEG, RestartMarkersTakeTurnsAndNoneStandsBeforeTheEnd) {
    const TestPicture picture = content(640, 360, 6);
    const Bytes jpeg = encodedAnew(picture.buffer());
    // Neither the tables nor the entropy-coded bytes have anything that looks like such a marker.
    std::vector<int> markers;
    for (std::size_t place = 0; place + 1 < jpeg.size(); ++place) {
        if (jpeg[place] == 0xFF && jpeg[place + 1] >= 0xD0 && jpeg[place + 1] <= 0xD7) {
            markers.push_back(jpeg[place + 1] - 0xD0);
        }
    }
    ASSERT_EQ(markers.size(), ViewerPieceGrid(640, 360).count() - 1);
    for (std::size_t index = 0; index < markers.size(); ++index) {
        EXPECT_EQ(markers[index], static_cast<int>(index % 8));
    }
    EXPECT_EQ(jpeg[jpeg.size() - 2], 0xFF);
    EXPECT_EQ(jpeg.back(), 0xD9);
}

TEST(ViewerKeptJPEG, AnotherQualityIsThatOfTheWholePicture) {
    const TestPicture picture = content(200, 100, 7);
    ViewerKeptJPEG jpeg(200, 100);
    ViewerJPEGCompressor compressor;
    ASSERT_TRUE(jpeg.encode(picture.buffer(), 0.2, compressor).has_value());
    EXPECT_EQ(jpeg.encode(picture.buffer(), quality, compressor), encodedAnew(picture.buffer()));
    EXPECT_EQ(jpeg.encode(picture.buffer(), quality, compressor), encodedAnew(picture.buffer()));
}

TEST(ViewerKeptJPEG, AnotherPictureHasNothingOfTheLast) {
    ViewerKeptJPEG jpeg(640, 360);
    ViewerJPEGCompressor compressor;
    const TestPicture large = content(640, 360, 8);
    ASSERT_TRUE(jpeg.encode(large.buffer(), quality, compressor).has_value());
    const TestPicture small = content(90, 50, 9);
    jpeg.begin(90, 50);
    EXPECT_EQ(jpeg.encode(small.buffer(), quality, compressor), encodedAnew(small.buffer()));
}

TEST(ViewerKeptJPEG, EachInstructionSetGivesTheSameBytes) {
    const TestPicture picture = content(639, 61, 10);
    const Bytes expected = encodedAnew(picture.buffer());
    forEachInstructionSet([&] { EXPECT_EQ(encodedAnew(picture.buffer()), expected); });
}

TEST(ViewerKeptJPEG, NoiseHasRoomAtTheHighestQuality) {
    std::mt19937 generator(12);
    const auto noise = TestPicture::random(640, 360, generator);
    const auto jpeg = ViewerImaging::jpeg(noise.buffer(), 1);
    ASSERT_TRUE(jpeg.has_value());
    EXPECT_EQ(decoded(*jpeg).picture.width, 640);
}

TEST(ViewerKeptJPEG, ASideHasAsManyPixelsAsAJPEGMayHave) {
    const TestPicture widest = TestPicture::filled(65'500, 1, {1, 2, 3, 0});
    expectSeenAsWhole(encodedAnew(widest.buffer()), widest.buffer());
    const TestPicture tooWide = TestPicture::filled(65'501, 1, {1, 2, 3, 0});
    EXPECT_FALSE(ViewerImaging::jpeg(tooWide.buffer(), quality).has_value());
}

TEST(ViewerKeptJPEG, WhatTheLibraryRefusesGivesNothingAndDisturbsNothing) {
    const TestPicture good = content(40, 30, 11);
    const Bytes expected = encodedAnew(good.buffer());
    // More rows than a JPEG may have, though fewer pieces; and more pieces than fit into one pass.
    const TestPicture tooHigh = TestPicture::filled(1, 70'000, {1, 2, 3, 0});
    EXPECT_FALSE(ViewerImaging::jpeg(tooHigh.buffer(), quality).has_value());
    const TestPicture tooMany = TestPicture::filled(640, 40'000, {1, 2, 3, 0});
    EXPECT_FALSE(ViewerImaging::jpeg(tooMany.buffer(), quality).has_value());
    EXPECT_EQ(encodedAnew(good.buffer()), expected);
}

}  // namespace
}  // namespace velmora
