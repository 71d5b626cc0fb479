#pragma once

#include <cstddef>
#include <cstdint>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// How the copy of an output lies in memory, and the way from there to what a person sees. A plain
/// value; any thread.
struct ViewerCopiedPicture final {
    friend bool operator==(const ViewerCopiedPicture&, const ViewerCopiedPicture&) = default;

    /// The size of a pixel, before and after.
    static constexpr std::size_t pixelBytes = 4;

    /// Whether it is read here: 8 or 10 bits a colour in 32 bits, and of a size that an output can
    /// have.
    bool isReadable() const;
    std::size_t bytes() const { return std::size_t{bytesPerRow} * height; }

    // The rest is for one that is readable.

    /// Whether it is seen as it lies there, so that nothing has to be written anew.
    bool isPlain() const;
    /// A plain picture's pixels, borrowed.
    ViewerPixelBuffer plain(const std::uint8_t* memory) const;

    std::size_t seenBytes() const { return std::size_t{width} * height * pixelBytes; }
    /// Writes the picture as it is seen, `seenBytes` of it, and tells what was written.
    ViewerPixelBuffer write(const std::uint8_t* memory, std::uint8_t* target) const;

    /// One of `wl_shm`'s formats.
    std::uint32_t format = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t bytesPerRow = 0;
    /// Whether the first row is the lowest one.
    bool isUpsideDown = false;
    /// One of an output's.
    std::int32_t transform = 0;
};

}  // namespace velmora
