#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

/// Texts from elsewhere as a terminal may show them. Pure; any thread.
namespace ViewerTerminalText {

/// `text` without anything that a terminal would obey or that would make it read otherwise than it
/// is written: control characters, format characters such as changes of direction, and what is not
/// UTF-8 become U+FFFD.
std::string safe(std::string_view text);

/// JSON with escapes in the place of what would not be safe, so that its values stay the same; what
/// is not UTF-8 becomes U+FFFD.
std::string safeJSON(std::string_view json);

/// How many columns of a terminal a text takes that is safe. As long as the process has a locale of
/// UTF-8.
std::size_t columns(std::string_view text);

/// As much of the beginning of a safe text as fits into so many columns, with an ellipsis behind it
/// where that is not all.
std::string cut(std::string_view text, std::size_t columns);

/// With blanks behind it up to so many columns.
std::string padded(std::string_view text, std::size_t columns);

}  // namespace ViewerTerminalText

}  // namespace velmora
