#include "tests/chaos/Hue.h"

#include <algorithm>
#include <cstdlib>

namespace velmora {

namespace {

constexpr int darkest = 150;
constexpr int step = 10;
constexpr int absent = 24;

struct Channels final {
    int red;
    int green;
    int blue;
};

Channels channelsOf(std::uint32_t colour) {
    return {static_cast<int>(colour >> 16 & 0xff), static_cast<int>(colour >> 8 & 0xff),
            static_cast<int>(colour & 0xff)};
}

/// By how much the channels of the hue stand out from the others.
int excess(Hue hue, const Channels& pixel) {
    switch (hue) {
        case Hue::red:
            return pixel.red - std::max(pixel.green, pixel.blue);
        case Hue::green:
            return pixel.green - std::max(pixel.red, pixel.blue);
        case Hue::blue:
            return pixel.blue - std::max(pixel.red, pixel.green);
        case Hue::yellow:
            return std::min(pixel.red, pixel.green) - pixel.blue;
    }
    return 0;
}

}  // namespace

std::uint32_t colourOf(Hue hue, int shade) {
    const auto present = static_cast<std::uint32_t>(darkest + step * (shade % shades));
    const bool isRed = hue == Hue::red || hue == Hue::yellow;
    const bool isGreen = hue == Hue::green || hue == Hue::yellow;
    return (isRed ? present : absent) << 16 | (isGreen ? present : absent) << 8 |
           (hue == Hue::blue ? present : absent);
}

bool isOfHue(const JPEGPicture& picture, Hue hue, bool mayBeBlack) {
    // Painted, it stands out by 126 at least; black beside it leaves no hue at all.
    constexpr int clear = 60;
    const int least = mayBeBlack ? -clear : clear;
    return std::ranges::all_of(picture.colours, [&](std::uint32_t colour) {
        const Channels pixel = channelsOf(colour);
        const bool isEven = hue != Hue::yellow || std::abs(pixel.red - pixel.green) <= clear;
        return isEven && excess(hue, pixel) >= least;
    });
}

}  // namespace velmora
