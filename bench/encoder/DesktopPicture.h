#pragma once

#include <cstdint>
#include <vector>

namespace velmora::bench {

/// A picture like a desktop: windows with lines of small text on plain and graded backgrounds, and
/// one window with a noisy photograph. The same for the same size, always. Rows of 4 bytes a pixel
/// (blue, green, red, unused), not apart.
std::vector<std::uint8_t> desktopPicture(std::int64_t width, std::int64_t height);

}  // namespace velmora::bench
