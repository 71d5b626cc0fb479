#pragma once

#include "tests/schedules/Footprint.h"

namespace velmora {

/// The memory of one execution, watched: which of it each step reads and writes. The program is
/// compiled as for a race detector, whose calls come here. What is made during an execution gets
/// addresses that only the choices before decide, and none is given twice. Where the program is
/// built with a sanitizer there is no watch, and memory is the system's. One thread.
class WatchedMemory final {
  public:
    /// Whether this program is built with the watch.
    static bool isThere();

    /// Forgets the execution before, of which nothing is left.
    static void beginExecution();

    /// Between these two, accesses to what was there before are noted.
    static void beginStep();
    static Footprint endStep();
};

/// As long as one lives, new memory is the execution's.
class Watched final {
  public:
    Watched();
    ~Watched();
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
};

/// As long as one lives, whatever others there are, nothing is noted, and new memory is the
/// system's: for those who look on.
class Unwatched final {
  public:
    Unwatched();
    ~Unwatched();
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;
};

}  // namespace velmora
