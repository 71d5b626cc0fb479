#pragma once

#include <vector>

namespace velmora {

/// The descriptors of this process that are TCP sockets.
std::vector<int> openSockets();
bool isClosedOnExec(int descriptor);
/// Takes a listening socket out of that state behind its owner's back.
bool stopListening(int descriptor);

}  // namespace velmora
