#include "core/capture/linux/imaging/ViewerReducedPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerTargetSize.h"
#include "core/capture/linux/imaging/ViewerKeptJPEG.h"
#include "tests/support/imaging/TestPicture.h"

namespace velmora {
namespace {

constexpr double jpegQuality = 0.68;

std::optional<ViewerBytes> encodedAlone(ViewerPixelBuffer picture) {
    picture.jpeg = nullptr;
    return ViewerJPEGEncoder::encode(picture, jpegQuality);
}

/// Renews a part of the reduced picture from all of the source.
ViewerRectangle renew(ViewerReducedPicture& reduced, const TestPicture& source,
                      const ViewerRectangle& part) {
    const ViewerRectangle from = reduced.average().sourceFor(part);
    reduced.reduce(part, source.pixel(from.x, from.y), source.bytesPerRow(),
                   ViewerReducedPicture::Search::allChanges);
    return reduced.takeFound();
}

void paint(TestPicture& picture, const ViewerRectangle& part, std::uint8_t level) {
    for (std::int64_t y = part.y; y < part.bottom(); ++y) {
        std::fill_n(picture.pixel(part.x, y),
                    static_cast<std::size_t>(part.width) * TestPicture::channels, level);
    }
}

TEST(ViewerReducedPicture, WhateverChangedTheBytesAreThoseOfThePictureEncodedAnew) {
    for (std::uint32_t seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 generator(seed);
        const auto upTo = [&](std::int64_t most) {
            return static_cast<std::int64_t>(generator() % static_cast<std::uint64_t>(most));
        };
        TestPicture source(500 + upTo(800), 100 + upTo(700));
        const auto target = ViewerJPEGEncoder::targetSize(source.width, source.height);
        ViewerReducedPicture reduced(ViewerAreaAverage(source.width, source.height,
                                                       static_cast<std::int64_t>(target.width),
                                                       static_cast<std::int64_t>(target.height)));
        for (int turn = 0; turn < 30; ++turn) {
            for (std::int64_t changes = upTo(4); changes > 0; --changes) {
                ViewerRectangle part{upTo(source.width), upTo(source.height), 0, 0};
                part.width = 1 + upTo(std::min<std::int64_t>(source.width - part.x, 200));
                part.height = 1 + upTo(std::min<std::int64_t>(source.height - part.y, 60));
                paint(source, part, static_cast<std::uint8_t>(generator()));
                const ViewerRectangle renewed = reduced.average().targetFor(part);
                const ViewerRectangle from = reduced.average().sourceFor(renewed);
                reduced.reduce(renewed, source.pixel(from.x, from.y), source.bytesPerRow(),
                               upTo(2) == 0 ? ViewerReducedPicture::Search::anyChange
                                            : ViewerReducedPicture::Search::allChanges);
            }
            // Not every picture is encoded.
            if (upTo(3) != 0) {
                const auto jpeg = ViewerJPEGEncoder::encode(reduced.pixels(), jpegQuality);
                ASSERT_TRUE(jpeg.has_value());
                ASSERT_EQ(jpeg, encodedAlone(reduced.pixels())) << turn;
            }
        }
    }
}

TEST(ViewerReducedPicture, PartsOfAnyHeightMakeThePictureThatTheWholeSourceGives) {
    std::mt19937 generator(1);
    const TestPicture source = TestPicture::random(960, 540, generator);
    const ViewerAreaAverage average(source.width, source.height, 320, 180);
    TestPicture expected(320, 180);
    average.reduce({0, 0, 320, 180}, source.bytes.data(), source.bytesPerRow(),
                   expected.bytes.data(), expected.bytesPerRow());
    for (const std::int64_t rows : {1, 7, 16, 17, 180}) {
        ViewerReducedPicture reduced(average);
        for (std::int64_t y = 0; y < 180; y += rows) {
            (void)renew(reduced, source, {0, y, 320, std::min(rows, 180 - y)});
        }
        const ViewerPixelBuffer pixels = reduced.pixels();
        EXPECT_TRUE(std::equal(expected.bytes.begin(), expected.bytes.end(), pixels.pixels))
            << rows;
    }
}

TEST(ViewerReducedPicture, WhatBecameDifferentIsAroundTheChangedPixels) {
    TestPicture source = TestPicture::filled(640, 360, {9, 9, 9, 0});
    ViewerReducedPicture reduced(ViewerAreaAverage(640, 360, 640, 360));
    EXPECT_EQ(renew(reduced, source, reduced.whole()), reduced.whole());
    EXPECT_TRUE(reduced.takeChange());
    EXPECT_TRUE(renew(reduced, source, reduced.whole()).isEmpty());
    EXPECT_FALSE(reduced.takeChange());
    paint(source, {150, 30, 40, 7}, 200);
    paint(source, {400, 35, 1, 1}, 201);
    EXPECT_EQ(renew(reduced, source, {0, 20, 640, 300}), (ViewerRectangle{150, 30, 251, 7}));
    EXPECT_TRUE(reduced.takeChange());
}

TEST(ViewerReducedPicture, AnyChangeMakesItAnotherPictureAndNoneDoesNot) {
    TestPicture source = TestPicture::filled(640, 360, {9, 9, 9, 0});
    ViewerReducedPicture reduced(ViewerAreaAverage(640, 360, 640, 360));
    const auto isAnother = [&] {
        reduced.reduce(reduced.whole(), source.bytes.data(), source.bytesPerRow(),
                       ViewerReducedPicture::Search::anyChange);
        return reduced.takeChange();
    };
    EXPECT_TRUE(isAnother());
    // What is outdated and not yet encoded is looked at all the same.
    EXPECT_FALSE(isAnother());
    paint(source, {639, 359, 1, 1}, 200);
    EXPECT_TRUE(isAnother());
    EXPECT_FALSE(isAnother());
    EXPECT_TRUE(reduced.takeFound().isEmpty());
}

TEST(ViewerReducedPicture, WhatIsEncodedIsKeptUntilItChanges) {
    TestPicture source = TestPicture::filled(640, 360, {9, 9, 9, 0});
    ViewerReducedPicture reduced(ViewerAreaAverage(640, 360, 640, 360));
    (void)renew(reduced, source, reduced.whole());
    ViewerKeptJPEG* const jpeg = reduced.pixels().jpeg;
    ASSERT_NE(jpeg, nullptr);
    EXPECT_TRUE(jpeg->isOutdated(0));
    EXPECT_TRUE(ViewerJPEGEncoder::encode(reduced.pixels(), jpegQuality).has_value());
    (void)renew(reduced, source, reduced.whole());
    EXPECT_FALSE(jpeg->isOutdated(0));
    EXPECT_FALSE(jpeg->isOutdated(1));
    paint(source, jpeg->grid().piece(1), 200);
    (void)renew(reduced, source, reduced.whole());
    EXPECT_FALSE(jpeg->isOutdated(0));
    EXPECT_TRUE(jpeg->isOutdated(1));
}

TEST(ViewerReducedPicture, RedAndBlueThatAreSwappedAreEncodedSo) {
    const TestPicture red = TestPicture::filled(64, 32, {10, 20, 230, 0});
    const TestPicture blue = TestPicture::filled(64, 32, {230, 20, 10, 0});
    ViewerReducedPicture reduced(ViewerAreaAverage(64, 32, 64, 32),
                                 ViewerReducedPicture::Order::redGreenBlue);
    (void)renew(reduced, blue, reduced.whole());
    EXPECT_EQ(ViewerJPEGEncoder::encode(reduced.pixels(), jpegQuality),
              ViewerJPEGEncoder::encode(red.buffer(), jpegQuality));
    EXPECT_TRUE(renew(reduced, blue, reduced.whole()).isEmpty());
}

}  // namespace
}  // namespace velmora
