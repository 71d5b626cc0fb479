#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFrame.h"

#include <spa/buffer/meta.h>

#include <algorithm>
#include <cstring>

namespace velmora {

namespace {

/// Metadata of this type, or nothing when the buffer has none or too little of it. It is copied:
/// the other side can write to it.
template <typename Meta>
std::optional<Meta> metaIn(const spa_buffer& buffer, spa_meta_type type) {
    const void* const data = spa_buffer_find_meta_data(&buffer, type, sizeof(Meta));
    if (data == nullptr) {
        return std::nullopt;
    }
    Meta result{};
    std::memcpy(&result, data, sizeof result);
    return result;
}

ViewerRectangle rectangleOf(const spa_region& region) {
    return {region.position.x, region.position.y, region.size.width, region.size.height};
}

bool isInside(const ViewerRectangle& part, const ViewerPipeWireFormat& format) {
    return part.x >= 0 && part.y >= 0 && part.right() <= format.width &&
           part.bottom() <= format.height;
}

std::optional<std::vector<ViewerRectangle>> damageIn(const spa_buffer& buffer,
                                                     const ViewerPipeWireFormat& format) {
    const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (meta == nullptr || meta->data == nullptr) {
        return std::nullopt;
    }
    const std::size_t places = meta->size / sizeof(spa_meta_region);
    std::vector<ViewerRectangle> result;
    for (std::size_t i = 0; i < places; ++i) {
        spa_meta_region region{};
        std::memcpy(&region, static_cast<const std::uint8_t*>(meta->data) + i * sizeof region,
                    sizeof region);
        const ViewerRectangle part = rectangleOf(region.region);
        if (part.isEmpty()) {
            break;
        }
        if (!isInside(part, format)) {
            return std::nullopt;
        }
        result.push_back(part);
    }
    // A list without an end may have lost some; an empty one is that of a compositor which tells
    // nothing.
    const bool isComplete = !result.empty() && (result.size() < places || places == 1);
    return isComplete ? std::optional(std::move(result)) : std::nullopt;
}

/// Whether the picture's rows lie in the memory, and in what the buffer says it has filled.
bool findRows(const spa_data& data, std::span<const std::uint8_t> memory,
              const ViewerPipeWireFormat& format, ViewerPipeWireFrame& frame) {
    spa_chunk chunk{};
    std::memcpy(&chunk, data.chunk, sizeof chunk);
    const std::uint64_t rowBytes =
        static_cast<std::uint64_t>(format.width) * ViewerPipeWireFormat::bytesPerPixel;
    if (chunk.stride < 0 || static_cast<std::uint64_t>(chunk.stride) < rowBytes ||
        chunk.offset > memory.size()) {
        return false;
    }
    const auto stride = static_cast<std::uint64_t>(chunk.stride);
    const std::uint64_t needed = stride * static_cast<std::uint64_t>(format.height - 1) + rowBytes;
    const std::uint64_t there = std::min<std::uint64_t>(chunk.size, memory.size() - chunk.offset);
    frame.pixels = memory.data() + chunk.offset;
    frame.bytesPerRow = stride;
    return needed <= there;
}

spa_meta_header headerOf(const spa_buffer& buffer) {
    return metaIn<spa_meta_header>(buffer, SPA_META_Header).value_or(spa_meta_header());
}

}  // namespace

ViewerPipeWireFrame::Kind ViewerPipeWireFrame::kindOf(const spa_buffer& buffer) {
    const std::uint32_t headerFlags = headerOf(buffer).flags;
    if (buffer.n_datas < 1 || buffer.datas[0].chunk == nullptr ||
        buffer.datas[0].chunk->size == 0 || (headerFlags & SPA_META_HEADER_FLAG_GAP) != 0) {
        return Kind::none;
    }
    const bool isBroken =
        (headerFlags & SPA_META_HEADER_FLAG_CORRUPTED) != 0 ||
        (static_cast<std::uint32_t>(buffer.datas[0].chunk->flags) & SPA_CHUNK_FLAG_CORRUPTED) != 0;
    return isBroken ? Kind::broken : Kind::picture;
}

ViewerPipeWireFrame ViewerPipeWireFrame::in(const spa_buffer& buffer,
                                            std::span<const std::uint8_t> memory,
                                            const ViewerPipeWireFormat& format) {
    ViewerPipeWireFrame result;
    result.sequence = headerOf(buffer).seq;
    result.kind = kindOf(buffer);
    if (result.kind != Kind::picture) {
        return result;
    }
    result.shown = {0, 0, format.width, format.height};
    if (const auto crop = metaIn<spa_meta_region>(buffer, SPA_META_VideoCrop)) {
        const ViewerRectangle part = rectangleOf(crop->region);
        result.shown = part.isEmpty() ? result.shown : part;
    }
    const auto turned = metaIn<spa_meta_videotransform>(buffer, SPA_META_VideoTransform);
    const auto transform = ViewerPictureTransform::make(turned ? turned->transform : 0);
    if (!transform || !isInside(result.shown, format) ||
        !findRows(buffer.datas[0], memory, format, result)) {
        result.kind = Kind::broken;
        return result;
    }
    result.transform = *transform;
    result.damage = damageIn(buffer, format);
    return result;
}

ViewerWaylandOutput::PixelSize ViewerPipeWireFrame::seenSize() const {
    const auto width = static_cast<std::int32_t>(shown.width);
    const auto height = static_cast<std::int32_t>(shown.height);
    return transform.swapsSides() ? ViewerWaylandOutput::PixelSize{height, width}
                                  : ViewerWaylandOutput::PixelSize{width, height};
}

}  // namespace velmora
