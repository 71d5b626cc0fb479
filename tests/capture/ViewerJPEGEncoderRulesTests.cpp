// The encoder's rules of size, quality and length, which need no picture.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/ViewerTargetSize.h"

namespace velmora {
namespace {

struct SizeCase final {
    std::int64_t width;
    std::int64_t height;
    ViewerTargetSize target;
};

TEST(ViewerJPEGEncoderSize, FitsInside640By360AndKeepsTheAspectRatio) {
    for (const SizeCase& size : {SizeCase{1920, 1080, {640, 360}},
                                 {2560, 1600, {576, 360}},
                                 {1512, 982, {554, 360}},
                                 {3456, 2234, {556, 360}},
                                 {3840, 2160, {640, 360}},
                                 {1280, 720, {640, 360}},
                                 {1366, 768, {640, 359}},
                                 {1080, 1920, {202, 360}},
                                 {641, 360, {640, 359}},
                                 {640, 361, {638, 360}}}) {
        EXPECT_EQ(ViewerJPEGEncoder::targetSize(size.width, size.height), size.target)
            << size.width << " × " << size.height;
    }
}

TEST(ViewerJPEGEncoderSize, IsNeverEnlarged) {
    for (const SizeCase& size : {SizeCase{640, 360, {640, 360}},
                                 {639, 359, {639, 359}},
                                 {1, 1, {1, 1}},
                                 {320, 360, {320, 360}},
                                 {640, 1, {640, 1}}}) {
        EXPECT_EQ(ViewerJPEGEncoder::targetSize(size.width, size.height), size.target)
            << size.width << " × " << size.height;
    }
}

TEST(ViewerJPEGEncoderSize, IsAtLeastOneByOne) {
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    for (const SizeCase& size : {SizeCase{0, 5, {1, 1}},
                                 {5, 0, {1, 1}},
                                 {-3, 400, {1, 1}},
                                 {least, least, {1, 1}},
                                 {100000, 2, {640, 1}},
                                 {2, 100000, {1, 360}},
                                 {most, 1, {640, 1}}}) {
        EXPECT_EQ(ViewerJPEGEncoder::targetSize(size.width, size.height), size.target)
            << size.width << " × " << size.height;
    }
}

TEST(ViewerJPEGEncoderSize, OfEverySizeIsWholeAndKeepsItsOwnSizeAsASecondTarget) {
    for (std::int64_t width = 1; width < 4000; width += 13) {
        for (std::int64_t height = 1; height < 2400; height += 7) {
            const auto target = ViewerJPEGEncoder::targetSize(width, height);
            ASSERT_EQ(target.width, std::floor(target.width));
            ASSERT_EQ(target.height, std::floor(target.height));
            ASSERT_TRUE(target.width >= 1 && target.width <= 640);
            ASSERT_TRUE(target.height >= 1 && target.height <= 360);
            ASSERT_EQ(ViewerJPEGEncoder::targetSize(static_cast<std::int64_t>(target.width),
                                                    static_cast<std::int64_t>(target.height)),
                      target)
                << width << " × " << height;
        }
    }
}

TEST(ViewerJPEGEncoderQuality, OfACapturedFrameIs68Hundredths) {
    EXPECT_EQ(ViewerJPEGEncoder::captureQuality, 0.68);
}

TEST(ViewerJPEGEncoderLimit, AJPEGOfExactlyTwoMebibytesIsAFrame) {
    std::vector<std::uint8_t> jpeg(2'097'152, 7);
    jpeg.back() = 9;
    const auto frame = ViewerJPEGEncoder::withinFrameLimit(jpeg);
    ASSERT_TRUE(frame.has_value());
    EXPECT_EQ(frame->size(), 2'097'152U);
    EXPECT_EQ(frame->span().back(), 9);
}

TEST(ViewerJPEGEncoderLimit, AJPEGOfOneByteMoreIsDropped) {
    EXPECT_FALSE(
        ViewerJPEGEncoder::withinFrameLimit(std::vector<std::uint8_t>(2'097'153)).has_value());
}

}  // namespace
}  // namespace velmora
