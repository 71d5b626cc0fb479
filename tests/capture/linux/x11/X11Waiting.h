#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "tests/support/x11/XServer.h"

namespace velmora {

/// How tests wait for an X server and for what happens on other threads.
namespace X11Waiting {

/// Longer than anything that goes well takes, sanitizers included.
inline constexpr std::chrono::seconds patience{30};

/// Returns when every notice of what the server was asked before has been sent to its clients: a
/// server that takes in a new client has sent all that it had to send.
void untilNoticesAreSent(const XServer& server);

/// Looks again and again until `holds` does. False when it does not in time.
bool until(const std::function<bool()>& holds);

/// How many threads of this name this process has.
int threadsNamed(const std::string& name);

}  // namespace X11Waiting

}  // namespace velmora
