#pragma once

#include <functional>

namespace velmora {

/// Starts `body` on a thread that nobody ever joins, because it may be stuck in a call that never
/// returns: `body` owns whatever it touches, and whoever waits for it sets a limit. Every signal is
/// blocked there, so that a broken connection is an error instead of a signal, and the loop's
/// thread gets the others. False, and `body` is dropped, when the system has no thread left. Any
/// thread. The name, of at most 15 characters, is for debugging tools.
[[nodiscard]] bool startDetachedThread(const char* name, std::function<void()> body);

}  // namespace velmora
