#pragma once

#include <array>
#include <string_view>
#include <utility>

namespace velmora {

/// How a terminal is told a picture: by the graphics protocols of kitty and of iTerm2, by sixels,
/// or by coloured block characters. A plain value; any thread.
enum class ViewerPictureFormat { kitty, iTerm, sixel, symbols };

/// As people write them.
inline constexpr std::array<std::pair<std::string_view, ViewerPictureFormat>, 4>
    viewerPictureFormats{{{"kitty", ViewerPictureFormat::kitty},
                          {"iterm", ViewerPictureFormat::iTerm},
                          {"sixel", ViewerPictureFormat::sixel},
                          {"symbols", ViewerPictureFormat::symbols}}};

}  // namespace velmora
