#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The rule by which a display gets its public identifier. Pure; any thread.
namespace MacDisplayIdentifier {

/// "macos-display:" and the UUID's text, its letters A to Z lowered and nothing else changed.
std::string identifier(std::string_view uuidText);

}  // namespace MacDisplayIdentifier

}  // namespace velmora
