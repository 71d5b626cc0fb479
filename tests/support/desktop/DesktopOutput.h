#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// An output of a test's desktop. A plain value.
struct DesktopOutput final {
    /// In pixels, before it is turned.
    int width = 1280;
    int height = 720;
    /// The place of its corner, in logical pixels of the whole desktop. A mutter puts its monitors
    /// side by side instead.
    int x = 0;
    int y = 0;
    /// As sway calls them: "normal", "90", "180", "270", "flipped" and so on.
    std::string transform = "normal";
    double scale = 1;
    /// What it shows, in 0xRRGGBB.
    std::uint32_t colour = 0x3060c0;
};

}  // namespace velmora
