#pragma once

#include <optional>
#include <string_view>

#include "core/protocol/ViewerText.h"

namespace velmora {

/// `text` with each percent sign and its two hexadecimal digits replaced by the byte they name;
/// everything else, a plus sign too, stands for itself. Nothing when a percent sign is not followed
/// by two digits or the result is not valid UTF-8. Pure; any thread.
std::optional<ViewerText> percentDecoded(std::string_view text);

}  // namespace velmora
