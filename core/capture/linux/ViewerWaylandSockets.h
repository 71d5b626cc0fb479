#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace velmora {

/// Looks which sockets have a Wayland compositor behind them that answers. Any thread.
namespace ViewerWaylandSockets {

/// For how long the answers are waited for: less than `ViewerScreenCapture::lookLimit`. A
/// compositor answers within milliseconds, on a busy machine within some more.
inline constexpr std::chrono::milliseconds patience{2000};

/// Those of the sockets at these paths that answer a round trip in time. One that only accepts, as
/// the kernel does for a program that hangs, does not. Blocks for the patience at most, and only
/// for sockets that do not answer.
std::vector<std::string> answering(const std::vector<std::string>& paths);

}  // namespace ViewerWaylandSockets

}  // namespace velmora
