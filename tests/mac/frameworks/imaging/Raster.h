#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velmora {

/// A picture in plain memory: rows from top to bottom of colours 0xRRGGBB. A plain value.
struct Raster final {
    friend bool operator==(const Raster&, const Raster&) = default;

    /// A picture of one colour.
    static Raster filled(std::size_t width, std::size_t height, std::uint32_t colour);
    /// The picture with another size, each pixel the nearest one.
    Raster resized(std::size_t newWidth, std::size_t newHeight) const;
    /// A real JPEG. Nothing is empty.
    std::vector<std::uint8_t> jpeg(double quality) const;

    std::size_t width = 0;
    std::size_t height = 0;
    std::vector<std::uint32_t> colours;
};

}  // namespace velmora
