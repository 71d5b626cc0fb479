#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"

#include <gtest/gtest.h>
#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <spa/pod/iter.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace velmora {
namespace {

/// The values of what an offer says of something; the first one is the preferred.
template <typename Value>
std::vector<Value> offered(const spa_pod* format, std::uint32_t key) {
    const spa_pod_prop* const property = spa_pod_find_prop(format, nullptr, key);
    if (property == nullptr) {
        return {};
    }
    std::uint32_t count = 0;
    std::uint32_t choice = 0;
    spa_pod* const values = spa_pod_get_values(&property->value, &count, &choice);
    const auto* const first = static_cast<const Value*>(SPA_POD_BODY(values));
    return {first, first + count};
}

/// Each fraction's two numbers.
std::vector<std::uint32_t> numbersOf(const std::vector<spa_fraction>& fractions) {
    std::vector<std::uint32_t> numbers;
    for (const spa_fraction& each : fractions) {
        numbers.push_back(each.num);
        numbers.push_back(each.denom);
    }
    return numbers;
}

/// What a compositor fixes.
std::optional<ViewerPipeWireFormat> fixed(spa_video_format pixels, std::uint32_t width,
                                          std::uint32_t height) {
    alignas(std::uint64_t) std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_video_info_raw info{};
    info.format = pixels;
    info.size = {width, height};
    return ViewerPipeWireParameters::formatIn(
        spa_format_video_raw_build(&builder, SPA_PARAM_Format, &info));
}

/// Whether what a source fixes is taken when it is of that kind.
bool isTaken(spa_media_type type, spa_media_subtype subtype) {
    alignas(std::uint64_t) std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_pod_frame object{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_Format);
    spa_pod_builder_prop(&builder, SPA_FORMAT_mediaType, 0);
    spa_pod_builder_id(&builder, type);
    spa_pod_builder_prop(&builder, SPA_FORMAT_mediaSubtype, 0);
    spa_pod_builder_id(&builder, subtype);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_format, 0);
    spa_pod_builder_id(&builder, SPA_VIDEO_FORMAT_BGRx);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_size, 0);
    spa_pod_builder_rectangle(&builder, 64, 48);
    const void* const format = spa_pod_builder_pop(&builder, &object);
    return ViewerPipeWireParameters::formatIn(static_cast<const spa_pod*>(format)).has_value();
}

TEST(ViewerPipeWireFormat, OnlyRawPicturesAreTaken) {
    EXPECT_TRUE(isTaken(SPA_MEDIA_TYPE_video, SPA_MEDIA_SUBTYPE_raw));
    EXPECT_FALSE(isTaken(SPA_MEDIA_TYPE_image, SPA_MEDIA_SUBTYPE_raw));
    EXPECT_FALSE(isTaken(SPA_MEDIA_TYPE_video, SPA_MEDIA_SUBTYPE_h264));
}

TEST(ViewerPipeWireFormat, WhatIsNoFormatIsNotTaken) {
    const spa_pod_int number{{sizeof(std::int32_t), SPA_TYPE_Int}, 7, 0};
    EXPECT_FALSE(ViewerPipeWireParameters::formatIn(&number.pod).has_value());
}

// Some releases of mutter do not look whether a monitor is larger than what is taken, write past
// the buffer and end the person's session.
TEST(ViewerPipeWireFormat, PicturesOfEverySizeAreTaken) {
    ViewerPipeWireParameters parameters;
    for (const spa_pod* const format : parameters.formats()) {
        const auto sizes = offered<spa_rectangle>(format, SPA_FORMAT_VIDEO_size);
        ASSERT_EQ(sizes.size(), 3U);
        EXPECT_EQ(sizes[1].width, 1U);
        EXPECT_EQ(sizes[1].height, 1U);
        EXPECT_EQ(sizes[2].width, 16'384U);
        EXPECT_EQ(sizes[2].height, 16'384U);
    }
}

TEST(ViewerPipeWireFormat, NoMorePicturesAreAskedForThan30ASecond) {
    ViewerPipeWireParameters parameters;
    for (const spa_pod* const format : parameters.formats()) {
        const auto limits = offered<spa_fraction>(format, SPA_FORMAT_VIDEO_maxFramerate);
        ASSERT_EQ(limits.size(), 3U);
        EXPECT_EQ(limits[0].num, 30U);
        EXPECT_EQ(limits[2].num, 30U);
    }
}

TEST(ViewerPipeWireFormat, PicturesAreTakenAtAnyRateAndAtAnyLimitOfIt) {
    ViewerPipeWireParameters parameters;
    for (const spa_pod* const format : parameters.formats()) {
        EXPECT_EQ(numbersOf(offered<spa_fraction>(format, SPA_FORMAT_VIDEO_framerate)),
                  (std::vector<std::uint32_t>{0, 1, 0, 1, 1000, 1}));
        EXPECT_EQ(numbersOf(offered<spa_fraction>(format, SPA_FORMAT_VIDEO_maxFramerate)),
                  (std::vector<std::uint32_t>{30, 1, 1, 1, 30, 1}));
    }
}

TEST(ViewerPipeWireFormat, FourBuffersAreAskedForAndFromTwoToSixteenTaken) {
    ViewerPipeWireParameters parameters;
    const std::vector<const spa_pod*> buffers = parameters.buffers();
    EXPECT_EQ(offered<std::int32_t>(buffers.front(), SPA_PARAM_BUFFERS_buffers),
              (std::vector<std::int32_t>{4, 2, 16}));
}

TEST(ViewerPipeWireFormat, ABufferIsToTellOfItsPictureAndOfUpTo64Changes) {
    constexpr int region = sizeof(spa_meta_region);
    ViewerPipeWireParameters parameters;
    std::map<std::uint32_t, std::vector<std::int32_t>> sizes;
    for (const spa_pod* const each : parameters.buffers()) {
        if (spa_pod_is_object_type(each, SPA_TYPE_OBJECT_ParamMeta)) {
            const auto type = offered<std::uint32_t>(each, SPA_PARAM_META_type);
            sizes[type.front()] = offered<std::int32_t>(each, SPA_PARAM_META_size);
        }
    }
    EXPECT_EQ(sizes, (std::map<std::uint32_t, std::vector<std::int32_t>>{
                         {SPA_META_Header, {sizeof(spa_meta_header)}},
                         {SPA_META_VideoCrop, {region}},
                         {SPA_META_VideoDamage, {16 * region, region, 64 * region}},
                         {SPA_META_VideoTransform, {sizeof(spa_meta_videotransform)}}}));
}

TEST(ViewerPipeWireFormat, EightBitsAreOfferedBeforeTen) {
    ViewerPipeWireParameters parameters;
    const std::vector<const spa_pod*> formats = parameters.formats();
    ASSERT_EQ(formats.size(), 2U);
    EXPECT_EQ(offered<std::uint32_t>(formats[0], SPA_FORMAT_VIDEO_format),
              (std::vector<std::uint32_t>{SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx,
                                          SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_BGRA,
                                          SPA_VIDEO_FORMAT_RGBA}));
    EXPECT_EQ(offered<std::uint32_t>(formats[1], SPA_FORMAT_VIDEO_format).front(),
              std::uint32_t{SPA_VIDEO_FORMAT_xRGB_210LE});
}

TEST(ViewerPipeWireFormat, PicturesLieInMemoryThatProgramsShareAndNowhereElse) {
    ViewerPipeWireParameters parameters;
    const std::vector<const spa_pod*> buffers = parameters.buffers();
    const auto kinds = offered<std::int32_t>(buffers.front(), SPA_PARAM_BUFFERS_dataType);
    EXPECT_EQ(kinds, std::vector<std::int32_t>{(1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr)});
}

TEST(ViewerPipeWireFormat, WhatIsFixedIsReadAsFarAsItWasOffered) {
    const auto largest = fixed(SPA_VIDEO_FORMAT_RGBA, 16'384, 1);
    ASSERT_TRUE(largest.has_value());
    EXPECT_EQ(largest->width, 16'384);
    EXPECT_EQ(largest->height, 1);

    EXPECT_FALSE(fixed(SPA_VIDEO_FORMAT_I420, 640, 480));
    EXPECT_FALSE(fixed(SPA_VIDEO_FORMAT_BGRx, 0, 480));
    EXPECT_FALSE(fixed(SPA_VIDEO_FORMAT_BGRx, 640, 16'385));
}

// No value of the enumeration either: a sanitizer finds where it is treated as one.
TEST(ViewerPipeWireFormat, PixelsWhoseNumberHasNoNameAreNotRead) {
    alignas(std::uint64_t) std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_video_info_raw info{};
    info.format = SPA_VIDEO_FORMAT_BGRx;
    info.size = {640, 480};
    const spa_pod* const format = spa_format_video_raw_build(&builder, SPA_PARAM_Format, &info);
    const spa_pod_prop* const property =
        spa_pod_find_prop(format, nullptr, SPA_FORMAT_VIDEO_format);
    const auto* const value = static_cast<const std::uint8_t*>(SPA_POD_BODY(&property->value));
    ASSERT_TRUE(ViewerPipeWireParameters::formatIn(format).has_value());

    memory.at(static_cast<std::size_t>(value - memory.data()) + 3) = 0xFF;

    EXPECT_FALSE(ViewerPipeWireParameters::formatIn(format).has_value());
}

}  // namespace
}  // namespace velmora
