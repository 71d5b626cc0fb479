#pragma once

#include <cstdint>
#include <vector>

namespace velmora::bench {

/// The exact area average in double precision, rounded to the nearest level: what a reduced picture
/// is measured against. Rows of 4 bytes a pixel, not apart; the fourth byte is reduced as well.
std::vector<std::uint8_t> exactAverage(const std::vector<std::uint8_t>& pixels, std::int64_t width,
                                       std::int64_t height, std::int64_t targetWidth,
                                       std::int64_t targetHeight);

/// Peak signal-to-noise ratio over blue, green and red in dB; infinite for equal pictures.
double signalToNoise(const std::vector<std::uint8_t>& picture,
                     const std::vector<std::uint8_t>& reference);

}  // namespace velmora::bench
