#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velmora {

/// What stb_image makes of a JPEG: 3 bytes a pixel; nothing when it refuses. Any thread.
std::optional<std::vector<std::uint8_t>> decodedByStb(std::span<const std::uint8_t> jpeg);

}  // namespace velmora
