#include "core/capture/linux/imaging/ViewerPictureTransform.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace velmora {
namespace {

/// What is seen of the buffer 1 2 3 / 4 5 6, row by row, when it lies there by this transform.
std::vector<std::uint32_t> seen(std::uint32_t transform, std::int64_t width) {
    constexpr std::array<std::uint32_t, 8> rows{1, 2, 3, 99, 4, 5, 6, 99};
    ViewerPixelBuffer buffer;
    buffer.width = 3;
    buffer.height = 2;
    buffer.pixels = reinterpret_cast<const std::uint8_t*>(rows.data());
    buffer.bytesPerRow = 4 * sizeof(std::uint32_t);
    std::vector<std::uint32_t> pixels;
    const ViewerPixelBuffer result = ViewerPictureTransform::make(transform)->undo(buffer, pixels);
    EXPECT_EQ(result.width, width);
    EXPECT_EQ(result.height, 6 / width);
    EXPECT_EQ(result.bytesPerRow, static_cast<std::size_t>(width) * sizeof(std::uint32_t));
    EXPECT_EQ(static_cast<const void*>(result.pixels), pixels.data());
    return pixels;
}

using Pixels = std::vector<std::uint32_t>;

TEST(ViewerPictureTransform, QuartersAreTurnedBackClockwise) {
    EXPECT_EQ(seen(0, 3), Pixels({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(seen(1, 2), Pixels({4, 1, 5, 2, 6, 3}));
    EXPECT_EQ(seen(2, 3), Pixels({6, 5, 4, 3, 2, 1}));
    EXPECT_EQ(seen(3, 2), Pixels({3, 6, 2, 5, 1, 4}));
}

TEST(ViewerPictureTransform, AMirroredPictureIsTurnedBackBeforeItIsMirrored) {
    EXPECT_EQ(seen(4, 3), Pixels({3, 2, 1, 6, 5, 4}));
    EXPECT_EQ(seen(5, 2), Pixels({1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(seen(6, 3), Pixels({4, 5, 6, 1, 2, 3}));
    EXPECT_EQ(seen(7, 2), Pixels({6, 3, 5, 2, 4, 1}));
}

TEST(ViewerPictureTransform, OnlyEightAreKnown) {
    for (std::uint32_t number = 0; number < 8; ++number) {
        ASSERT_TRUE(ViewerPictureTransform::make(number).has_value()) << number;
    }
    EXPECT_TRUE(ViewerPictureTransform::make(0)->isNone());
    EXPECT_FALSE(ViewerPictureTransform::make(7)->isNone());
    EXPECT_TRUE(ViewerPictureTransform::make(7)->swapsSides());
    EXPECT_FALSE(ViewerPictureTransform::make(8).has_value());
}

}  // namespace
}  // namespace velmora
