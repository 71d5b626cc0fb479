#pragma once

#include <spa/buffer/buffer.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/capture/linux/imaging/ViewerPictureTransform.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"

namespace velmora {

/// A picture in a buffer, borrowed from it. A plain value.
struct ViewerPipeWireFrame final {
    /// `none` is a buffer without a new picture, `broken` one whose picture is not to be used.
    enum class Kind { none, broken, picture };

    /// What is in a buffer of this format whose memory this is: the only memory that the result
    /// refers to, whatever the buffer says of itself. Reads no pixels. Any thread.
    static ViewerPipeWireFrame in(const spa_buffer& buffer, std::span<const std::uint8_t> memory,
                                  const ViewerPipeWireFormat& format);

    /// What a buffer says of itself, of which `in` may still find that its picture is broken.
    static Kind kindOf(const spa_buffer& buffer);

    /// How large the shown part is as it is seen.
    ViewerWaylandOutput::PixelSize seenSize() const;

    Kind kind = Kind::none;
    /// The buffer's number in the order in which they were sent, where the compositor counts.
    std::uint64_t sequence = 0;
    /// The first pixel of the buffer's picture, which has the format's size.
    const std::uint8_t* pixels = nullptr;
    std::size_t bytesPerRow = 0;
    /// The part of it that is shown.
    ViewerRectangle shown;
    ViewerPictureTransform transform;
    /// What changed of all of it since the last buffer; nothing when that is not told, or in a way
    /// that cannot be.
    std::optional<std::vector<ViewerRectangle>> damage;
};

}  // namespace velmora
