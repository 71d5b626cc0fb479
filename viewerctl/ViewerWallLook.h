#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>

namespace velmora {

/// What a page of the wall says that it shows. Pure; any thread.
namespace ViewerWallLook {

/// Each tile that is visible, and the time between two of its pictures.
using Tiles = std::map<std::uint32_t, std::chrono::milliseconds>;

inline constexpr std::chrono::milliseconds shortestInterval{200};
inline constexpr std::chrono::milliseconds longestInterval{600'000};
/// In bytes.
inline constexpr std::size_t longestMessage = 262'144;

/// Of `{"kind":"look","tiles":[[TILE,MILLISECONDS],…]}`. Nothing for any other text.
std::optional<Tiles> parse(std::string_view text);

}  // namespace ViewerWallLook

}  // namespace velmora
