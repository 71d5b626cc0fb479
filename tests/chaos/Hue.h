#pragma once

#include <cstdint>

#include "tests/support/system/JPEGPicture.h"

namespace velmora {

/// What tells the picture of one display from every other's, whatever shade it is painted in.
enum class Hue : std::uint8_t { red, green, blue, yellow };

/// How many shades of a hue there are.
inline constexpr int shades = 10;

/// 0xRRGGBB of a shade, counted from 0.
std::uint32_t colourOf(Hue hue, int shade);

/// Whether no pixel is of another hue. A screen that is being made anew may be black as well.
bool isOfHue(const JPEGPicture& picture, Hue hue, bool mayBeBlack);

}  // namespace velmora
