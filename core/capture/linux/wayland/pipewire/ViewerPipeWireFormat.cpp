#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <span>

namespace velmora {

namespace {

/// More than the 25 that are delivered: asked for that, compositors fall short of it.
constexpr std::uint32_t maximumRate = 30;

/// One is being read, one waits to be, one is on its way and one is being drawn, so that a
/// compositor that finds no free one drops no picture.
constexpr int preferredBuffers = 4;
constexpr int fewestBuffers = 2;
constexpr int mostBuffers = 16;

/// Of changes that are more scattered than this, compositors tell the rectangle around them.
constexpr int preferredRegions = 16;
constexpr int mostRegions = 64;

const spa_pod* addFormats(spa_pod_builder& builder, std::span<const spa_video_format> formats) {
    const spa_rectangle usual{1920, 1080};
    const spa_rectangle smallest{1, 1};
    const spa_rectangle largest{ViewerPipeWireFormat::maximumSide,
                                ViewerPipeWireFormat::maximumSide};
    const spa_fraction anyRate{0, 1};
    const spa_fraction highestRate{1000, 1};
    const spa_fraction slowestLimit{1, 1};
    const spa_fraction limit{maximumRate, 1};
    spa_pod_frame object{};
    spa_pod_frame choice{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    spa_pod_builder_prop(&builder, SPA_FORMAT_mediaType, 0);
    spa_pod_builder_id(&builder, SPA_MEDIA_TYPE_video);
    spa_pod_builder_prop(&builder, SPA_FORMAT_mediaSubtype, 0);
    spa_pod_builder_id(&builder, SPA_MEDIA_SUBTYPE_raw);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_format, 0);
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
    // The first value of a choice is the preferred one, before all of them.
    spa_pod_builder_id(&builder, formats.front());
    for (const spa_video_format each : formats) {
        spa_pod_builder_id(&builder, each);
    }
    (void)spa_pod_builder_pop(&builder, &choice);  // Only the object's own place counts.
    const auto range = [&builder](std::uint32_t key, const auto& add, const auto&... values) {
        spa_pod_frame frame{};
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_push_choice(&builder, &frame, SPA_CHOICE_Range, 0);
        (add(values), ...);
        (void)spa_pod_builder_pop(&builder, &frame);  // As above.
    };
    const auto addRectangle = [&builder](const spa_rectangle& value) {
        spa_pod_builder_rectangle(&builder, value.width, value.height);
    };
    const auto addFraction = [&builder](const spa_fraction& value) {
        spa_pod_builder_fraction(&builder, value.num, value.denom);
    };
    range(SPA_FORMAT_VIDEO_size, addRectangle, usual, smallest, largest);
    range(SPA_FORMAT_VIDEO_framerate, addFraction, anyRate, anyRate, highestRate);
    range(SPA_FORMAT_VIDEO_maxFramerate, addFraction, limit, slowestLimit, limit);
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object));
}

const spa_pod* addBuffers(spa_pod_builder& builder) {
    spa_pod_frame object{};
    spa_pod_frame choice{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    spa_pod_builder_prop(&builder, SPA_PARAM_BUFFERS_buffers, 0);
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Range, 0);
    for (const int each : {preferredBuffers, fewestBuffers, mostBuffers}) {
        spa_pod_builder_int(&builder, each);
    }
    (void)spa_pod_builder_pop(&builder, &choice);  // Only the object's own place counts.
    spa_pod_builder_prop(&builder, SPA_PARAM_BUFFERS_dataType, 0);
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Flags, 0);
    spa_pod_builder_int(&builder, (1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr));
    (void)spa_pod_builder_pop(&builder, &choice);  // As above.
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object));
}

const spa_pod* addMeta(spa_pod_builder& builder, spa_meta_type type,
                       std::initializer_list<std::size_t> sizes) {
    spa_pod_frame object{};
    spa_pod_frame choice{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    spa_pod_builder_prop(&builder, SPA_PARAM_META_type, 0);
    spa_pod_builder_id(&builder, type);
    spa_pod_builder_prop(&builder, SPA_PARAM_META_size, 0);
    if (sizes.size() > 1) {
        spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Range, 0);
    }
    for (const std::size_t each : sizes) {
        spa_pod_builder_int(&builder, static_cast<int>(each));
    }
    if (sizes.size() > 1) {
        (void)spa_pod_builder_pop(&builder, &choice);  // Only the object's own place counts.
    }
    return static_cast<const spa_pod*>(spa_pod_builder_pop(&builder, &object));
}

/// Each in its order of preference.
constexpr std::array eightBits{SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBA};
constexpr std::array tenBits{SPA_VIDEO_FORMAT_xRGB_210LE, SPA_VIDEO_FORMAT_xBGR_210LE,
                             SPA_VIDEO_FORMAT_ARGB_210LE, SPA_VIDEO_FORMAT_ABGR_210LE,
                             SPA_VIDEO_FORMAT_RGBx_102LE, SPA_VIDEO_FORMAT_BGRx_102LE,
                             SPA_VIDEO_FORMAT_RGBA_102LE, SPA_VIDEO_FORMAT_BGRA_102LE};

/// The number behind an enumeration's name: what others send may have no name here, and is no value
/// of the enumeration then.
std::uint32_t numberOf(const spa_video_format& format) {
    std::uint32_t number = 0;
    static_assert(sizeof number == sizeof format);
    std::memcpy(&number, &format, sizeof number);
    return number;
}

bool isKnown(std::uint32_t format) {
    return std::ranges::find(eightBits, format) != eightBits.end() ||
           std::ranges::find(tenBits, format) != tenBits.end();
}

/// Ten bits of each colour in words of 32 bits, the least significant byte first; the lowest bit of
/// the one that lies low.
std::optional<ViewerPixelForm> tenBitForm(bool isRedHigh, unsigned lowest) {
    constexpr std::uint32_t high = 0x3ff00000;
    constexpr std::uint32_t middle = 0x000ffc00;
    constexpr std::uint32_t low = 0x000003ff;
    ViewerPixelForm::Description result;
    result.redMask = (isRedHigh ? high : low) << lowest;
    result.greenMask = middle << lowest;
    result.blueMask = (isRedHigh ? low : high) << lowest;
    return ViewerPixelForm::make(result);
}

bool isSide(std::uint32_t length) {
    return length >= 1 && length <= ViewerPipeWireFormat::maximumSide;
}

}  // namespace

std::optional<ViewerPixelForm> ViewerPipeWireFormat::pixelForm() const {
    constexpr unsigned aboveTwoOthers = 2;
    switch (pixels) {
        case SPA_VIDEO_FORMAT_xRGB_210LE:
        case SPA_VIDEO_FORMAT_ARGB_210LE:
            return tenBitForm(true, 0);
        case SPA_VIDEO_FORMAT_xBGR_210LE:
        case SPA_VIDEO_FORMAT_ABGR_210LE:
            return tenBitForm(false, 0);
        case SPA_VIDEO_FORMAT_RGBx_102LE:
        case SPA_VIDEO_FORMAT_RGBA_102LE:
            return tenBitForm(true, aboveTwoOthers);
        case SPA_VIDEO_FORMAT_BGRx_102LE:
        case SPA_VIDEO_FORMAT_BGRA_102LE:
            return tenBitForm(false, aboveTwoOthers);
        default:
            return std::nullopt;
    }
}

ViewerReducedPicture::Order ViewerPipeWireFormat::order() const {
    const bool isRedFirst = pixels == SPA_VIDEO_FORMAT_RGBx || pixels == SPA_VIDEO_FORMAT_RGBA;
    return isRedFirst ? ViewerReducedPicture::Order::redGreenBlue
                      : ViewerReducedPicture::Order::blueGreenRed;
}

std::optional<ViewerPipeWireFormat> ViewerPipeWireParameters::formatIn(const spa_pod* parameter) {
    std::uint32_t type = 0;
    std::uint32_t subtype = 0;
    spa_video_info_raw info{};
    const bool isPicture = spa_format_parse(parameter, &type, &subtype) >= 0 &&
                           type == SPA_MEDIA_TYPE_video && subtype == SPA_MEDIA_SUBTYPE_raw &&
                           spa_format_video_raw_parse(parameter, &info) >= 0;
    const std::uint32_t pixels = numberOf(info.format);
    if (!isPicture || !isKnown(pixels) || !isSide(info.size.width) || !isSide(info.size.height)) {
        return std::nullopt;
    }
    ViewerPipeWireFormat result;
    result.pixels = pixels;
    result.width = info.size.width;
    result.height = info.size.height;
    return result;
}

std::vector<const spa_pod*> ViewerPipeWireParameters::formats() {
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory_.data(), static_cast<std::uint32_t>(memory_.size()));
    return {addFormats(builder, eightBits), addFormats(builder, tenBits)};
}

std::vector<const spa_pod*> ViewerPipeWireParameters::buffers() {
    constexpr std::size_t region = sizeof(spa_meta_region);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory_.data(), static_cast<std::uint32_t>(memory_.size()));
    return {addBuffers(builder), addMeta(builder, SPA_META_Header, {sizeof(spa_meta_header)}),
            addMeta(builder, SPA_META_VideoCrop, {region}),
            addMeta(builder, SPA_META_VideoDamage,
                    {preferredRegions * region, region, mostRegions * region}),
            addMeta(builder, SPA_META_VideoTransform, {sizeof(spa_meta_videotransform)})};
}

}  // namespace velmora
