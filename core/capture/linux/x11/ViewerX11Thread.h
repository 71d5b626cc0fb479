#pragma once

#include <functional>

namespace velmora {

/// Starts `body` on a thread that nobody ever joins, because it may be stuck in the X server:
/// `body` owns whatever it touches. Every signal is blocked there, so that a broken connection is
/// an error instead of a signal, and the loop's thread gets the others. False, and `body` is
/// dropped, when the system has no thread left. Any thread. The name, of at most 15 characters, is
/// for debugging tools.
[[nodiscard]] bool startX11Thread(const char* name, std::function<void()> body);

}  // namespace velmora
