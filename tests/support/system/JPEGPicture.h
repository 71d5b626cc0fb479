#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace velmora {

/// A decoded JPEG: `height` rows of `width` colours 0xRRGGBB, from top to bottom. A plain value.
struct JPEGPicture final {
    /// Nothing when `bytes` are not one JPEG that decodes without a warning.
    static std::optional<JPEGPicture> decode(std::string_view bytes);

    std::uint32_t at(int x, int y) const;
    /// Whether every pixel is within `tolerance` of the colour in each channel.
    bool isAll(std::uint32_t colour, int tolerance) const;

    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> colours;
};

/// Whether two colours differ by at most `tolerance` in each channel.
bool isNear(std::uint32_t a, std::uint32_t b, int tolerance);

}  // namespace velmora
