#include "core/capture/linux/wayland/outputs/ViewerCopiedPicture.h"

#include <gtest/gtest.h>
#include <wayland-client-protocol.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {
namespace {

using Pixels = std::vector<std::uint32_t>;

/// The pixels of a picture as they are seen, with its size.
struct Seen final {
    friend bool operator==(const Seen&, const Seen&) = default;

    std::int64_t width = 0;
    std::int64_t height = 0;
    Pixels pixels;
};

Seen seen(const ViewerCopiedPicture& picture, const Pixels& memory) {
    Seen result;
    result.pixels.resize(picture.seenBytes() / ViewerCopiedPicture::pixelBytes);
    const ViewerPixelBuffer buffer =
        picture.write(reinterpret_cast<const std::uint8_t*>(memory.data()),
                      reinterpret_cast<std::uint8_t*>(result.pixels.data()));
    EXPECT_EQ(buffer.bytesPerRow, static_cast<std::size_t>(buffer.width) * 4);
    result.width = buffer.width;
    result.height = buffer.height;
    return result;
}

ViewerCopiedPicture sized(std::uint32_t width, std::uint32_t height, std::int32_t transform = 0) {
    ViewerCopiedPicture picture{WL_SHM_FORMAT_XRGB8888, width, height, width * 4};
    picture.transform = transform;
    return picture;
}

std::uint32_t converted(std::uint32_t format, std::uint32_t pixel) {
    return seen({format, 1, 1, 4}, {pixel}).pixels.front();
}

TEST(ViewerCopiedPicture, EachTransformIsTurnedBack) {
    // 1 2 3
    // 4 5 6
    const Pixels memory = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(seen(sized(3, 2, 0), memory), (Seen{3, 2, {1, 2, 3, 4, 5, 6}}));
    EXPECT_EQ(seen(sized(3, 2, 1), memory), (Seen{2, 3, {4, 1, 5, 2, 6, 3}}));
    EXPECT_EQ(seen(sized(3, 2, 2), memory), (Seen{3, 2, {6, 5, 4, 3, 2, 1}}));
    EXPECT_EQ(seen(sized(3, 2, 3), memory), (Seen{2, 3, {3, 6, 2, 5, 1, 4}}));
    EXPECT_EQ(seen(sized(3, 2, 4), memory), (Seen{3, 2, {3, 2, 1, 6, 5, 4}}));
    EXPECT_EQ(seen(sized(3, 2, 5), memory), (Seen{2, 3, {1, 4, 2, 5, 3, 6}}));
    EXPECT_EQ(seen(sized(3, 2, 6), memory), (Seen{3, 2, {4, 5, 6, 1, 2, 3}}));
    EXPECT_EQ(seen(sized(3, 2, 7), memory), (Seen{2, 3, {6, 3, 5, 2, 4, 1}}));
}

TEST(ViewerCopiedPicture, WhatIsUpsideDownIsPutUpright) {
    ViewerCopiedPicture picture = sized(3, 2);
    picture.isUpsideDown = true;
    EXPECT_FALSE(picture.isPlain());
    EXPECT_EQ(seen(picture, {1, 2, 3, 4, 5, 6}), (Seen{3, 2, {4, 5, 6, 1, 2, 3}}));
    picture.transform = 1;
    EXPECT_EQ(seen(picture, {4, 5, 6, 1, 2, 3}), (Seen{2, 3, {4, 1, 5, 2, 6, 3}}));
}

TEST(ViewerCopiedPicture, RowsMayBeLongerThanTheirPixels) {
    ViewerCopiedPicture picture{WL_SHM_FORMAT_XRGB8888, 1, 2, 12};
    EXPECT_EQ(seen(picture, {1, 9, 9, 2, 9, 9}), (Seen{1, 2, {1, 2}}));
    EXPECT_EQ(picture.plain(nullptr).bytesPerRow, 12U);
}

TEST(ViewerCopiedPicture, EveryFormatBecomesBlueGreenRed) {
    EXPECT_EQ(converted(WL_SHM_FORMAT_XRGB8888, 0xff11'2233), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_ARGB8888, 0xff11'2233), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_XBGR8888, 0xff33'2211), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_ABGR8888, 0xff33'2211), 0x0011'2233U);
    constexpr std::uint32_t deep = 0xc000'0000 | 0x11U << 22U | 0x22U << 12U | 0x33U << 2U;
    constexpr std::uint32_t swapped = 0xc000'0000 | 0x33U << 22U | 0x22U << 12U | 0x11U << 2U;
    EXPECT_EQ(converted(WL_SHM_FORMAT_XRGB2101010, deep), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_ARGB2101010, deep), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_XBGR2101010, swapped), 0x0011'2233U);
    EXPECT_EQ(converted(WL_SHM_FORMAT_ABGR2101010, swapped), 0x0011'2233U);
}

TEST(ViewerCopiedPicture, OtherFormatsAndImpossibleSizesAreRefused) {
    EXPECT_TRUE(sized(1920, 1080).isReadable());
    EXPECT_TRUE(sized(16'384, 16'384).isReadable());
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_RGB565, 64, 64, 256}.isReadable()));
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_RGBX8888, 64, 64, 256}.isReadable()));
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_BGR888, 64, 64, 256}.isReadable()));
    EXPECT_FALSE(sized(0, 1080).isReadable());
    EXPECT_FALSE(sized(1920, 0).isReadable());
    EXPECT_FALSE(sized(16'385, 16).isReadable());
    EXPECT_FALSE(sized(16, 16'385).isReadable());
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_XRGB8888, 64, 64, 255}.isReadable()));
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_XRGB8888, 64, 64, 0x8000'0000}.isReadable()));
}

TEST(ViewerCopiedPicture, OnlyWhatLiesThereAsItIsSeenIsPlain) {
    EXPECT_TRUE(sized(3, 2).isPlain());
    EXPECT_FALSE(sized(3, 2, 1).isPlain());
    EXPECT_FALSE((ViewerCopiedPicture{WL_SHM_FORMAT_XBGR8888, 3, 2, 12}.isPlain()));
}

}  // namespace
}  // namespace velmora
