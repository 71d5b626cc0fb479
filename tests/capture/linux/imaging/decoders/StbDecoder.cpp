#include "tests/capture/linux/imaging/decoders/StbDecoder.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_NO_STDIO
#define STBI_ONLY_JPEG
#include <stb/stb_image.h>

#include <memory>

namespace velmora {

std::optional<std::vector<std::uint8_t>> decodedByStb(std::span<const std::uint8_t> jpeg) {
    constexpr int channels = 3;
    int width = 0;
    int height = 0;
    int found = 0;
    const std::unique_ptr<stbi_uc, decltype(&stbi_image_free)> pixels(
        stbi_load_from_memory(jpeg.data(), static_cast<int>(jpeg.size()), &width, &height, &found,
                              channels),
        &stbi_image_free);
    if (!pixels) {
        return std::nullopt;
    }
    return std::vector<std::uint8_t>(pixels.get(),
                                     pixels.get() + std::ptrdiff_t{width} * height * channels);
}

}  // namespace velmora
