#pragma once

#include <cstddef>

namespace velmora {

/// Dispatch's sources as the tests see them. The main thread's, like the queue that they are for.
namespace FakeDispatchSources {

/// Lets a signal arrive: the handler of each source that watches it is put on its queue.
void raise(int signal);

/// The sources that watch that signal now.
std::size_t watching(int signal);

/// How often a source was let go that was never resumed, which ends a process on macOS.
std::size_t droppedWhileSuspended();

}  // namespace FakeDispatchSources

}  // namespace velmora
