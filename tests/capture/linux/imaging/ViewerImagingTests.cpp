#include "core/capture/ViewerImaging.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <utility>
#include <vector>

#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

/// Whether each channel is within a level of its area's average.
bool isReductionOf(const TestPicture& source, const ViewerImage& image) {
    const auto averages = areaAverages(source, image.picture.width, image.picture.height);
    bool result = true;
    for (std::size_t index = 0; index < averages.size(); ++index) {
        const double difference = image.picture.pixels[index] - averages[index];
        result = result && difference < 1 && difference > -1;
    }
    return result;
}

TEST(ViewerImaging, APictureIsOnlyEverReduced) {
    const TestPicture source(8, 6);
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 0, 6).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 8, 0).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 9, 6).has_value());
    EXPECT_FALSE(ViewerImaging::scaled(source.buffer(), 8, 7).has_value());
    EXPECT_TRUE(ViewerImaging::scaled(source.buffer(), 8, 6).has_value());
    EXPECT_TRUE(ViewerImaging::scaled(source.buffer(), 1, 1).has_value());
}

TEST(ViewerImaging, WhatIsNoPictureIsNeitherReducedNorEncoded) {
    const TestPicture source(8, 6);
    const auto isRefused = [](const ViewerPixelBuffer& buffer) {
        return !ViewerImaging::scaled(buffer, 1, 1) && !ViewerImaging::jpeg(buffer, 0.5);
    };
    EXPECT_FALSE(isRefused(source.buffer()));
    ViewerPixelBuffer withoutPixels = source.buffer();
    withoutPixels.pixels = nullptr;
    EXPECT_TRUE(isRefused(withoutPixels));
    for (const std::int64_t length :
         {std::int64_t{0}, std::int64_t{-1}, (std::int64_t{1} << 27) + 1}) {
        ViewerPixelBuffer ofAnyWidth = source.buffer();
        ofAnyWidth.width = length;
        ofAnyWidth.bytesPerRow = std::size_t{1} << 30;
        EXPECT_TRUE(isRefused(ofAnyWidth)) << length;
        ViewerPixelBuffer ofAnyHeight = source.buffer();
        ofAnyHeight.height = length;
        EXPECT_TRUE(isRefused(ofAnyHeight)) << length;
    }
    ViewerPixelBuffer withShortRows = source.buffer();
    --withShortRows.bytesPerRow;
    EXPECT_TRUE(isRefused(withShortRows));
}

TEST(ViewerImaging, ARowOrAColumnOfPixelsIsAPicture) {
    std::mt19937 generator(2);
    const auto row = TestPicture::random(8, 1, generator);
    const auto column = TestPicture::random(1, 8, generator);
    EXPECT_TRUE(isReductionOf(row, ViewerImaging::scaled(row.buffer(), 4, 1).value()));
    EXPECT_TRUE(isReductionOf(column, ViewerImaging::scaled(column.buffer(), 1, 4).value()));
    EXPECT_TRUE(ViewerImaging::jpeg(row.buffer(), 0.5).has_value());
    EXPECT_TRUE(ViewerImaging::jpeg(column.buffer(), 0.5).has_value());
}

TEST(ViewerImaging, APictureOfTheWantedSizeIsHandedOnAsItIs) {
    const TestPicture source(8, 6);
    EXPECT_EQ(ViewerImaging::scaled(source.buffer(), 8, 6).value().picture.pixels,
              source.bytes.data());
}

TEST(ViewerImaging, EachOfSeveralSourcesInTurnIsReducedByItsOwnAverage) {
    std::mt19937 generator(3);
    for (const auto& [width, height] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {48, 24}, {24, 24}, {24, 48}, {24, 24}, {48, 24}}) {
        const auto source = TestPicture::random(width, height, generator);
        EXPECT_TRUE(isReductionOf(source, ViewerImaging::scaled(source.buffer(), 12, 12).value()))
            << width << " × " << height;
    }
}

TEST(ViewerImaging, EachOfSeveralSizesInTurnGetsItsOwnAverage) {
    std::mt19937 generator(1);
    const auto source = TestPicture::random(48, 24, generator);
    for (const auto& [width, height] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {24, 12}, {24, 12}, {12, 12}, {12, 8}, {48, 8}, {12, 24}, {48, 24}}) {
        const std::optional<ViewerImage> image =
            ViewerImaging::scaled(source.buffer(), width, height);
        ASSERT_TRUE(image.has_value());
        EXPECT_EQ(image->picture.width, width);
        EXPECT_EQ(image->picture.height, height);
        EXPECT_TRUE(isReductionOf(source, *image)) << width << " × " << height;
    }
}

}  // namespace
}  // namespace velmora
