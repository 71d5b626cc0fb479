#pragma once

#include <spa/pod/pod.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/imaging/ViewerReducedPicture.h"

namespace velmora {

/// How the pictures of a stream lie in memory: 4 bytes a pixel. A plain value.
struct ViewerPipeWireFormat final {
    friend bool operator==(const ViewerPipeWireFormat&, const ViewerPipeWireFormat&) = default;

    static constexpr std::size_t bytesPerPixel = 4;
    /// The largest side that is asked for, far above any screen's: a compositor may take a largest
    /// size below its monitor's for granted and write past its buffer (mutter 48).
    static constexpr std::uint32_t maximumSide = 16'384;

    /// The form of pixels that are not 8 bits of each colour; nothing for those that are.
    std::optional<ViewerPixelForm> pixelForm() const;
    /// The order of bytes of pixels that are.
    ViewerReducedPicture::Order order() const;

    /// A `spa_video_format`.
    std::uint32_t pixels = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

/// What a stream says to PipeWire about its format, and what PipeWire says to it. A value that owns
/// its memory; one thread.
class ViewerPipeWireParameters final {
  public:
    ViewerPipeWireParameters() = default;
    ViewerPipeWireParameters(const ViewerPipeWireParameters&) = delete;
    ViewerPipeWireParameters& operator=(const ViewerPipeWireParameters&) = delete;

    /// The format of a picture in plain memory that can be read; nothing for others.
    static std::optional<ViewerPipeWireFormat> formatIn(const spa_pod* parameter);

    /// The formats that can be read, best ones first. Valid as long as this is.
    std::vector<const spa_pod*> formats();
    /// The buffers and what each may tell of its picture, once the format is known.
    std::vector<const spa_pod*> buffers();

  private:
    alignas(std::uint64_t) std::array<std::uint8_t, 2048> memory_{};
};

}  // namespace velmora
