#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerHostAddress.h"
#include "viewerctl/ViewerWatchState.h"

namespace velmora {

/// The lines of text around a watched picture, each at most so many columns wide and safe for a
/// terminal. Pure, but for the time zone; any thread.
namespace ViewerWatchText {

/// The same moment on both clocks.
struct Now final {
    std::chrono::steady_clock::time_point steady;
    std::chrono::system_clock::time_point wall;
};

/// Whose picture it is.
std::string title(const ViewerHostAddress& host, const ViewerWatchState& state,
                  const ViewerConsole& console, std::size_t columns);
/// How it stands with it: what is wrong, for how long it is the same, its rate and its label.
std::string status(const ViewerWatchState& state, bool isPaused, const ViewerConsole& console,
                   Now now, std::size_t columns);
/// Which keys there are.
std::string keys(const ViewerConsole& console, std::size_t columns);

/// Such as "12 s", "3 min 5 s" and "2 h 0 min".
std::string duration(std::chrono::seconds time, const ViewerConsole& console);

}  // namespace ViewerWatchText

}  // namespace velmora
