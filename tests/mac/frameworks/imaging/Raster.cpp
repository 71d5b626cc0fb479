#include "tests/mac/frameworks/imaging/Raster.h"

#include <turbojpeg.h>

#include <cmath>
#include <memory>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

Raster Raster::filled(std::size_t width, std::size_t height, std::uint32_t colour) {
    return {width, height, std::vector<std::uint32_t>(width * height, colour)};
}

Raster Raster::resized(std::size_t newWidth, std::size_t newHeight) const {
    Raster result = filled(newWidth, newHeight, 0);
    for (std::size_t y = 0; y < newHeight; ++y) {
        for (std::size_t x = 0; x < newWidth; ++x) {
            const std::size_t from = (y * height / newHeight) * width + x * width / newWidth;
            result.colours[y * newWidth + x] = colours[from];
        }
    }
    return result;
}

std::vector<std::uint8_t> Raster::jpeg(double quality) const {
    const std::unique_ptr<void, decltype(&tjDestroy)> compressor(tjInitCompress(), &tjDestroy);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int percent = 1 + static_cast<int>(std::lround(quality * 99));
    // In memory 0xRRGGBB is blue, green, red, unused.
    const int result =
        tjCompress2(compressor.get(), reinterpret_cast<const unsigned char*>(colours.data()),
                    static_cast<int>(width), 0, static_cast<int>(height), TJPF_BGRX, &bytes, &size,
                    TJSAMP_420, percent, 0);
    const std::unique_ptr<unsigned char, decltype(&tjFree)> owned(bytes, &tjFree);
    viewerCheck(result == 0, "the picture can be compressed");
    return {bytes, bytes + size};
}

}  // namespace velmora
