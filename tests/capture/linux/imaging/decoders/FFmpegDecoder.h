#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velmora {

/// What FFmpeg's decoder makes of a JPEG: the visible bytes of its planes, one after the other;
/// nothing when it has anything to complain of, be it a warning. One thread.
std::optional<std::vector<std::uint8_t>> decodedByFFmpeg(std::span<const std::uint8_t> jpeg);

}  // namespace velmora
