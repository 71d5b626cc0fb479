#pragma once

#include <chrono>
#include <string_view>

namespace velmora {

/// How long a full standard output may hold a line, and with it the main thread, up.
inline constexpr std::chrono::seconds outputPatience{1};

/// Writes `line` and a line feed to `descriptor`, past every buffer of the process. Gives up when
/// the reader is gone, the disk is full, or nothing can be written for as long as `patience`.
/// SIGPIPE is ignored by the process. Any thread.
void writeLine(int descriptor, std::string_view line, std::chrono::milliseconds patience);

}  // namespace velmora
