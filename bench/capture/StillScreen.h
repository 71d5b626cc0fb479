#pragma once

#include "bench/capture/CaptureRun.h"

namespace velmora::bench {

/// Shows what the host, x11vnc and GStreamer cost while they capture a screen on which nothing
/// moves. True when the host encodes nothing and takes at most `mostPercent` of a core.
bool compareStillScreen(const CaptureRun& run, double mostPercent);

/// True when the host sleeps for a minute once nobody asks it for anything any more.
bool checkUnused(const CaptureRun& run);

}  // namespace velmora::bench
