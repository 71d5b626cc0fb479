#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerTargetSize.h"

#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/imaging/DecodedJPEG.h"
#include "tests/support/imaging/InstructionSets.h"
#include "tests/support/imaging/TestPicture.h"
#include "tests/support/imaging/WholeJPEG.h"
#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {
namespace {

/// A picture that a JPEG holds well: slow waves in every channel.
TestPicture waves(std::int64_t width, std::int64_t height) {
    TestPicture picture(width, height);
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const double across = static_cast<double>(x) / static_cast<double>(width);
            const double down = static_cast<double>(y) / static_cast<double>(height);
            const std::array<double, 3> levels{std::sin(6 * across + 2 * down),
                                               std::sin(4 * down - across),
                                               std::cos(5 * across * down)};
            for (std::size_t channel = 0; channel < levels.size(); ++channel) {
                picture.pixel(x, y)[channel] =
                    static_cast<std::uint8_t>(std::lround(128 + 120 * levels[channel]));
            }
        }
    }
    return picture;
}

DecodedJPEG decodedAt(const TestPicture& picture, double quality) {
    const auto jpeg = ViewerJPEGEncoder::encode(picture.buffer(), quality);
    EXPECT_TRUE(jpeg.has_value());
    return jpeg ? decoded(jpeg->span()) : DecodedJPEG{};
}

TEST(ViewerJPEGEncoder, EncodesAPictureInItsTargetSize) {
    const std::array<std::array<std::int64_t, 4>, 8> sizes{{{640, 360, 640, 360},
                                                            {1280, 720, 640, 360},
                                                            {1920, 1080, 640, 360},
                                                            {2560, 1600, 576, 360},
                                                            {1512, 982, 554, 360},
                                                            {1366, 768, 640, 359},
                                                            {123, 45, 123, 45},
                                                            {300, 1000, 108, 360}}};
    for (const auto& [width, height, targetWidth, targetHeight] : sizes) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        const auto picture = decodedAt(waves(width, height), 0.68).picture;
        EXPECT_EQ(picture.width, targetWidth);
        EXPECT_EQ(picture.height, targetHeight);
    }
}

TEST(ViewerJPEGEncoder, AViewerSeesTheAreaAverage) {
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{640, 360},
                                        {1280, 720},
                                        {1366, 768},
                                        {900, 1000},
                                        {333, 211}}) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        const auto source = waves(width, height);
        const auto target = ViewerJPEGEncoder::targetSize(width, height);
        const auto averages = areaAverages(source, static_cast<std::int64_t>(target.width),
                                           static_cast<std::int64_t>(target.height));
        forEachInstructionSet(
            [&] { EXPECT_GE(signalToNoise(decodedAt(source, 1).picture, averages), 44); });
    }
}

TEST(ViewerJPEGEncoder, APictureOfItsTargetSizeIsNotRedrawn) {
    const auto picture = waves(640, 360);
    EXPECT_EQ(ViewerJPEGEncoder::encode(picture.buffer(), 0.68),
              ViewerJPEGEncoder::jpegData(picture.buffer(), 0.68));
    const auto seen = decodedAt(picture, 1).picture;
    EXPECT_GE(signalToNoise(seen, {picture.bytes.begin(), picture.bytes.end()}), 44);
}

TEST(ViewerJPEGEncoder, ALargerImageIsRedrawnInItsTargetSize) {
    const auto source = waves(1280, 720);
    const auto jpeg = ViewerJPEGEncoder::jpegData(source.buffer(), 0.68);
    ASSERT_TRUE(jpeg.has_value());
    EXPECT_EQ(jpeg, ViewerJPEGEncoder::encode(source.buffer(), 0.68));
    EXPECT_EQ(decoded(jpeg->span()).picture.width, 640);
}

TEST(ViewerJPEGEncoder, PlainColoursAreTheSameInAViewer) {
    const std::array<std::array<std::uint8_t, 4>, 9> colours{{{0, 0, 0, 0},
                                                              {255, 255, 255, 0},
                                                              {128, 128, 128, 255},
                                                              {0, 0, 255, 0},
                                                              {0, 255, 0, 0},
                                                              {255, 0, 0, 0},
                                                              {255, 255, 0, 9},
                                                              {0, 255, 255, 0},
                                                              {255, 0, 255, 0}}};
    constexpr int levels = 4;
    for (const auto& colour : colours) {
        for (const auto& [width, height] :
             {std::pair<std::int64_t, std::int64_t>{64, 48}, {1920, 1080}, {1000, 700}}) {
            const auto picture =
                decodedAt(TestPicture::filled(width, height, colour), 0.68).picture;
            for (std::size_t index = 0; index < picture.bytes.size(); ++index) {
                if (index % TestPicture::channels != 3) {
                    ASSERT_NEAR(picture.bytes[index], colour[index % TestPicture::channels], levels)
                        << int{colour[0]} << ' ' << int{colour[1]} << ' ' << int{colour[2]};
                }
            }
        }
    }
}

TEST(ViewerJPEGEncoder, SmallAndOddSizesAreEncodedToTheirEdges) {
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{1, 1},
                                        {1, 2},
                                        {2, 1},
                                        {3, 3},
                                        {1, 360},
                                        {640, 1},
                                        {17, 33},
                                        {639, 359},
                                        {15, 16}}) {
        SCOPED_TRACE(std::to_string(width) + " × " + std::to_string(height));
        // Dark red but for the last column and row, which an encoder could lose.
        auto source = TestPicture::filled(width, height, {40, 40, 200, 0});
        for (std::int64_t y = 0; y < height; ++y) {
            std::fill_n(source.pixel(width - 1, y), 3, 230);
        }
        for (std::int64_t x = 0; x < width; ++x) {
            std::fill_n(source.pixel(x, height - 1), 3, 230);
        }
        const auto picture = decodedAt(source, 1).picture;
        ASSERT_EQ(picture.width, width);
        ASSERT_EQ(picture.height, height);
        constexpr double levels = 15;
        for (const auto& [x, y] :
             {std::pair{width - 1, std::int64_t{0}}, {width - 1, height - 1}, {0, height - 1}}) {
            const auto* pixel = picture.pixel(x, y);
            const double luma = 0.114 * pixel[0] + 0.587 * pixel[1] + 0.299 * pixel[2];
            EXPECT_NEAR(luma, 230, levels) << x << ", " << y;
        }
    }
}

TEST(ViewerJPEGEncoder, ViewersAreToldOfJFIFAndOfHalvedColour) {
    const auto jpeg = ViewerJPEGEncoder::encode(waves(64, 64).buffer(), 0.68);
    ASSERT_TRUE(jpeg.has_value());
    EXPECT_EQ(jpeg->text().substr(6, 4), "JFIF");
    const auto seen = decoded(jpeg->span());
    EXPECT_EQ(seen.subsampling, TJSAMP_420);
    EXPECT_EQ(seen.colourSpace, TJCS_YCbCr);
}

TEST(ViewerJPEGEncoder, QualityFromZeroToOneIsTheLibrarysFromOneToAHundred) {
    const auto picture = waves(32, 32);
    for (const auto& [quality, libraryQuality] : {std::pair<double, int>{0, 1},
                                                  {1, 100},
                                                  {0.68, 68},
                                                  {0.5, 51},
                                                  {0.25, 26},
                                                  {-0.5, 1},
                                                  {1.5, 100},
                                                  {std::numeric_limits<double>::quiet_NaN(), 1}}) {
        SCOPED_TRACE(quality);
        const auto jpeg = ViewerJPEGEncoder::encode(picture.buffer(), quality);
        ASSERT_TRUE(jpeg.has_value());
        const auto tables = quantisationTables(jpeg->span());
        EXPECT_FALSE(tables.empty());
        EXPECT_EQ(tables, quantisationTablesAt(libraryQuality));
    }
}

TEST(ViewerJPEGEncoder, TheEnvironmentHasNoPartInTheBytes) {
    const auto picture = waves(100, 50);
    const auto bytes = ViewerJPEGEncoder::encode(picture.buffer(), 0.68);
    const auto others = wholeJPEG(picture.buffer(), 68);
    BorrowedEnvironment environment;
    for (const char* const variable : {"TJ_OPTIMIZE", "TJ_PROGRESSIVE", "TJ_RESTART"}) {
        environment.set(variable, "1");
    }
    EXPECT_EQ(ViewerJPEGEncoder::encode(picture.buffer(), 0.68), bytes);
    // Another encoder follows these variables.
    EXPECT_NE(wholeJPEG(picture.buffer(), 68), others);
}

TEST(ViewerJPEGEncoder, WhatIsNoPictureGivesNothing) {
    const auto picture = waves(20, 10);
    const ViewerPixelBuffer good = picture.buffer();
    ASSERT_TRUE(ViewerJPEGEncoder::encode(good, 0.68).has_value());
    const auto expectNothing = [](const ViewerPixelBuffer& buffer) {
        EXPECT_FALSE(ViewerJPEGEncoder::encode(buffer, 0.68).has_value());
        EXPECT_FALSE(ViewerJPEGEncoder::jpegData(buffer, 0.68).has_value());
    };
    expectNothing({});
    int platformsOwn = 0;
    expectNothing({20, 10, nullptr, 80, &platformsOwn});
    expectNothing({0, 10, good.pixels, 80, nullptr});
    expectNothing({20, 0, good.pixels, 80, nullptr});
    expectNothing({-20, 10, good.pixels, 80, nullptr});
    expectNothing({20, -1, good.pixels, 80, nullptr});
    expectNothing({20, 10, good.pixels, 79, nullptr});
    expectNothing({20, 10, good.pixels, 0, nullptr});
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    expectNothing({most, 1, good.pixels, std::numeric_limits<std::size_t>::max(), nullptr});
    expectNothing({1, most, good.pixels, 4, nullptr});
}

TEST(ViewerJPEGEncoder, RowsMayBeApart) {
    std::mt19937 generator(1);
    const auto wide = TestPicture::random(700, 400, generator);
    TestPicture narrow(650, 400);
    for (std::int64_t y = 0; y < narrow.height; ++y) {
        std::copy_n(wide.pixel(0, y), narrow.bytesPerRow(), narrow.pixel(0, y));
    }
    ViewerPixelBuffer part = wide.buffer();
    part.width = narrow.width;
    EXPECT_EQ(ViewerJPEGEncoder::encode(part, 0.68),
              ViewerJPEGEncoder::encode(narrow.buffer(), 0.68));
}

TEST(ViewerJPEGEncoder, EarlierPicturesLeaveNoTrace) {
    std::mt19937 generator(2);
    std::vector<TestPicture> pictures;
    // Neighbours that differ in one direction only, but have the same target size; and others.
    for (const auto& [width, height] : {std::pair<std::int64_t, std::int64_t>{1300, 401},
                                        {1300, 402},
                                        {33, 21},
                                        {1000, 800},
                                        {1001, 800},
                                        {640, 360}}) {
        pictures.push_back(TestPicture::random(width, height, generator));
    }
    std::vector<std::optional<ViewerBytes>> alone;
    for (const TestPicture& picture : pictures) {
        // A thread of its own has kept nothing.
        std::thread([&] {
            alone.push_back(ViewerJPEGEncoder::encode(picture.buffer(), 0.68));
        }).join();
    }
    for (int turn = 0; turn < 3; ++turn) {
        for (std::size_t index = 0; index < pictures.size(); ++index) {
            ASSERT_TRUE(alone[index].has_value());
            EXPECT_EQ(ViewerJPEGEncoder::encode(pictures[index].buffer(), 0.68), alone[index]);
        }
        std::ranges::rotate(pictures, pictures.begin() + 1);
        std::ranges::rotate(alone, alone.begin() + 1);
    }
}

TEST(ViewerJPEGEncoder, ThreadsEncodeAtOnceWithoutDisturbingOneAnother) {
    std::mt19937 generator(3);
    std::vector<TestPicture> pictures;
    for (const std::int64_t width : {800, 801, 640, 100}) {
        pictures.push_back(TestPicture::random(width, 360, generator));
    }
    std::vector<std::thread> threads;
    threads.reserve(pictures.size());
    for (const TestPicture& picture : pictures) {
        threads.emplace_back([&picture] {
            const auto first = ViewerJPEGEncoder::encode(picture.buffer(), 0.68);
            EXPECT_TRUE(first.has_value());
            for (int turn = 0; turn < 10; ++turn) {
                EXPECT_EQ(ViewerJPEGEncoder::encode(picture.buffer(), 0.68), first);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace velmora
