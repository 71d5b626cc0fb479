#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

class ViewerKeptJPEG;

/// A borrowed picture, valid only during the call it is passed to. Where `pixels` is set, it is
/// `height` rows of `width` pixels, 4 bytes each in the order blue, green, red, unused, rows from
/// top to bottom and `bytesPerRow` apart. A platform whose pictures are not plain memory leaves
/// `pixels` null and passes its own buffer in `native`.
struct ViewerPixelBuffer final {
    std::int64_t width = 0;
    std::int64_t height = 0;
    const std::uint8_t* pixels = nullptr;
    std::size_t bytesPerRow = 0;
    void* native = nullptr;
    /// What the platform keeps of this picture's JPEG, where the next picture is mostly the same;
    /// used while it is encoded. It changes what an encoding costs, never what comes out.
    ViewerKeptJPEG* jpeg = nullptr;
};

}  // namespace velmora
