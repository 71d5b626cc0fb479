#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/imaging/ImagingObjects.h"
#include "tests/mac/frameworks/imaging/ImagingScript.h"
#include "tests/support/system/JPEGPicture.h"

// The encoder on CoreImage, CoreGraphics and ImageIO: which calls it makes, in which order, and
// that it releases what it was given to own.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t orange = 0xE08020;

class ViewerImagingOnMac : public MacTest {
  protected:
    /// Encodes a captured picture of one colour.
    static std::optional<ViewerBytes> encode(std::size_t width, std::size_t height,
                                             double quality = 0.68) {
        @autoreleasepool {
            FakeCVPixelBuffer* const pixels =
                [[FakeCVPixelBuffer alloc] initWithRaster:Raster::filled(width, height, orange)];
            ViewerPixelBuffer buffer;
            buffer.width = static_cast<std::int64_t>(width);
            buffer.height = static_cast<std::int64_t>(height);
            buffer.native = pixels.ref;
            return ViewerJPEGEncoder::encode(buffer, quality);
        }
    }

    /// Encodes an image of one colour, in a colour space or in none.
    static std::optional<ViewerBytes> encodeImage(std::size_t width, std::size_t height,
                                                  NSString* _Nullable spaceName) {
        @autoreleasepool {
            FakeCGColorSpace* space = nil;
            if (spaceName != nil) {
                space = [[FakeCGColorSpace alloc] init];
                space.name = spaceName;
            }
            FakeCGImage* const image =
                [[FakeCGImage alloc] initWithRaster:Raster::filled(width, height, orange)
                                         colorSpace:space];
            ViewerPixelBuffer buffer;
            buffer.width = static_cast<std::int64_t>(width);
            buffer.height = static_cast<std::int64_t>(height);
            buffer.native = image.ref;
            return ViewerJPEGEncoder::jpegData(buffer, 0.68);
        }
    }
};

TEST_F(ViewerImagingOnMac, ACapturedPictureIsScaledRenderedAndWrittenAndEachPartReleased) {
    EXPECT_TRUE(encode(1280, 720).has_value());
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("CIImage initWithCVPixelBuffer 1280 720",
                            "CIImage imageByApplyingTransform 0.5 0.5",
                            "CIContext initWithOptions 1 without caches",
                            "CIContext createCGImage 0 0 640 360",
                            "CGImageDestinationCreateWithData public.jpeg 1 without options",
                            "CGImageDestinationAddImage 640 360 properties: 1",
                            "CGImageDestinationFinalize quality: 0.68",
                            "CFRelease FakeCGImageDestination", "CFRelease FakeCGImage"));
}

TEST_F(ViewerImagingOnMac, ASmallPictureKeepsItsSize) {
    EXPECT_TRUE(encode(640, 360).has_value());
    EXPECT_THAT(FrameworkCalls::take(),
                testing::IsSupersetOf({"CIImage imageByApplyingTransform 1 1",
                                       "CIContext createCGImage 0 0 640 360"}));
}

TEST_F(ViewerImagingOnMac, SidesAreScaledEachByItsOwnWholeNumber) {
    EXPECT_TRUE(encode(1512, 982).has_value());
    EXPECT_THAT(FrameworkCalls::take(),
                testing::IsSupersetOf({"CIImage imageByApplyingTransform 0.366402 0.366599",
                                       "CIContext createCGImage 0 0 554 360"}));
}

TEST_F(ViewerImagingOnMac, TheBytesAreAJPEGOfThePicture) {
    const auto jpeg = encode(1280, 720);
    ASSERT_TRUE(jpeg.has_value());
    const auto picture = JPEGPicture::decode(jpeg->text());
    ASSERT_TRUE(picture.has_value());
    EXPECT_EQ(picture->width, 640);
    EXPECT_EQ(picture->height, 360);
    EXPECT_TRUE(picture->isAll(orange, 4));
}

TEST_F(ViewerImagingOnMac, EveryFrameHasAContextOfItsOwn) {
    EXPECT_TRUE(encode(64, 36).has_value());
    EXPECT_TRUE(encode(64, 36).has_value());
    EXPECT_EQ(
        std::ranges::count(FrameworkCalls::take(), "CIContext initWithOptions 1 without caches"),
        2);
}

TEST_F(ViewerImagingOnMac, ALargeImageIsDrawnAnewInItsOwnColourSpace) {
    EXPECT_TRUE(encodeImage(1920, 1080, @"Display P3").has_value());
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("CGBitmapContextCreate own memory 640 360 8 0 Display P3 1",
                            "CGContextSetInterpolationQuality 3", "CGContextDrawImage 0 0 640 360",
                            "CGBitmapContextCreateImage", "CFRelease FakeCGContext",
                            "CGImageDestinationCreateWithData public.jpeg 1 without options",
                            "CGImageDestinationAddImage 640 360 properties: 1",
                            "CGImageDestinationFinalize quality: 0.68",
                            "CFRelease FakeCGImageDestination", "CFRelease FakeCGImage"));
}

TEST_F(ViewerImagingOnMac, AnImageWithoutAColourSpaceIsDrawnAnewInSRGB) {
    EXPECT_TRUE(encodeImage(1920, 1080, nil).has_value());
    EXPECT_THAT(FrameworkCalls::take(),
                ElementsAre("CGColorSpaceCreateWithName sRGB",
                            "CGBitmapContextCreate own memory 640 360 8 0 sRGB 1",
                            "CFRelease FakeCGColorSpace", "CGContextSetInterpolationQuality 3",
                            "CGContextDrawImage 0 0 640 360", "CGBitmapContextCreateImage",
                            "CFRelease FakeCGContext",
                            "CGImageDestinationCreateWithData public.jpeg 1 without options",
                            "CGImageDestinationAddImage 640 360 properties: 1",
                            "CGImageDestinationFinalize quality: 0.68",
                            "CFRelease FakeCGImageDestination", "CFRelease FakeCGImage"));
}

TEST_F(ViewerImagingOnMac, ASmallImageIsNotDrawnAnew) {
    EXPECT_TRUE(encodeImage(640, 360, @"sRGB").has_value());
    EXPECT_THAT(FrameworkCalls::take(), testing::Not(testing::Contains(HasSubstr("Bitmap"))));
}

TEST_F(ViewerImagingOnMac, TheQualityIsBoundAndNoNumberIsZero) {
    const auto qualityOf = [](double quality) {
        EXPECT_TRUE(encode(64, 36, quality).has_value());
        for (const std::string& call : FrameworkCalls::take()) {
            if (call.starts_with("CGImageDestinationFinalize")) {
                return call;
            }
        }
        return std::string();
    };
    EXPECT_EQ(qualityOf(-0.5), "CGImageDestinationFinalize quality: 0");
    EXPECT_EQ(qualityOf(1.5), "CGImageDestinationFinalize quality: 1");
    EXPECT_EQ(qualityOf(std::nan("")), "CGImageDestinationFinalize quality: 0");
    EXPECT_EQ(qualityOf(0.25), "CGImageDestinationFinalize quality: 0.25");
}

TEST_F(ViewerImagingOnMac, AJPEGMayBeAsLongAsAFrameAndNoLonger) {
    ImagingScript::shared().jpegBytes = ViewerHostProtocolV1::maxFrameBytes;
    const auto longest = encode(64, 36);
    ASSERT_TRUE(longest.has_value());
    EXPECT_EQ(longest->size(), ViewerHostProtocolV1::maxFrameBytes);
    ImagingScript::shared().jpegBytes = ViewerHostProtocolV1::maxFrameBytes + 1;
    EXPECT_EQ(encode(64, 36), std::nullopt);
    EXPECT_EQ(encodeImage(64, 36, @"sRGB"), std::nullopt);
}

TEST_F(ViewerImagingOnMac, NoPictureIsNoJPEGAndAsksForNothing) {
    EXPECT_EQ(ViewerJPEGEncoder::encode(ViewerPixelBuffer(), 0.68), std::nullopt);
    EXPECT_EQ(ViewerJPEGEncoder::jpegData(ViewerPixelBuffer(), 0.68), std::nullopt);
    EXPECT_EQ(encode(0, 5), std::nullopt);
    ViewerPixelBuffer large;
    large.width = 1920;
    large.height = 1080;
    EXPECT_EQ(ViewerJPEGEncoder::jpegData(large, 0.68), std::nullopt);
    EXPECT_THAT(FrameworkCalls::take(), IsEmpty());
}

TEST_F(ViewerImagingOnMac, FramesOfDifferentDisplaysAreEncodedSideBySide) {
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            for (int frame = 0; frame < 20; ++frame) {
                EXPECT_TRUE(encode(64, 36).has_value());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(std::ranges::count(FrameworkCalls::take(), "CFRelease FakeCGImage"), 60);
}

/// What is refused, and what has to be released then.
struct Refusal final {
    const char* name;
    bool ImagingScript::* refusal;
    std::vector<std::string> releases;
};

class ViewerImagingOnMacRefusal : public ViewerImagingOnMac,
                                  public testing::WithParamInterface<Refusal> {};

TEST_P(ViewerImagingOnMacRefusal, YieldsNothingAndReleasesWhatWasMade) {
    ImagingScript::shared().*GetParam().refusal = true;
    // The first three refusals meet an image that has to be drawn anew, the others a picture.
    const bool isDrawn = std::string(GetParam().name).starts_with("Draw");
    const auto jpeg = isDrawn ? encodeImage(1920, 1080, nil) : encode(1280, 720);
    EXPECT_EQ(jpeg, std::nullopt);
    std::vector<std::string> releases;
    for (const std::string& call : FrameworkCalls::take()) {
        if (call.starts_with("CFRelease")) {
            releases.push_back(call);
        }
    }
    EXPECT_EQ(releases, GetParam().releases);
}

INSTANTIATE_TEST_SUITE_P(
    Each, ViewerImagingOnMacRefusal,
    testing::Values(
        Refusal{"DrawWithoutSRGB", &ImagingScript::hasNoSRGB, {}},
        Refusal{"DrawWithoutBitmap", &ImagingScript::makesNoBitmap, {"CFRelease FakeCGColorSpace"}},
        Refusal{"DrawWithoutImage",
                &ImagingScript::makesNoBitmapImage,
                {"CFRelease FakeCGColorSpace", "CFRelease FakeCGContext"}},
        Refusal{"Render", &ImagingScript::rendersNothing, {}},
        Refusal{"Destination", &ImagingScript::makesNoDestination, {"CFRelease FakeCGImage"}},
        Refusal{"Finalize",
                &ImagingScript::failsToFinalize,
                {"CFRelease FakeCGImageDestination", "CFRelease FakeCGImage"}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace velmora
