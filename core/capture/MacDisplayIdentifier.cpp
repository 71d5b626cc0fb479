#include "core/capture/MacDisplayIdentifier.h"

#include <algorithm>
#include <iterator>

namespace velmora {

namespace {

constexpr std::string_view prefix = "macos-display:";

/// Not the C library's function, whose result depends on the process's locale.
char lowered(char character) {
    constexpr int toLower = 'a' - 'A';
    const bool isUpper = character >= 'A' && character <= 'Z';
    return isUpper ? static_cast<char>(character + toLower) : character;
}

}  // namespace

std::string MacDisplayIdentifier::identifier(std::string_view uuidText) {
    std::string id(prefix);
    std::ranges::transform(uuidText, std::back_inserter(id), lowered);
    return id;
}

}  // namespace velmora
