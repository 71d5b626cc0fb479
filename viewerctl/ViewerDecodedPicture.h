#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velmora {

/// The pixels of a picture. A plain value.
struct ViewerDecodedPicture final {
    /// Of a JPEG, at the smallest scale that the decoder offers at which it is not smaller than
    /// `wantedWidth` and `wantedHeight` pixels, nor larger than it is. Nothing for what is broken.
    static std::optional<ViewerDecodedPicture> decode(std::span<const std::uint8_t> jpeg,
                                                      int wantedWidth, int wantedHeight);
    /// Half as bright.
    void dim();

    /// Pixels.
    int width = 0;
    int height = 0;
    /// Red, green and blue, row by row from the top, without gaps.
    std::vector<std::uint8_t> pixels;
};

}  // namespace velmora
