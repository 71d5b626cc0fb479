#pragma once

#include "bench/capture/CaptureRun.h"
#include "bench/capture/Comparison.h"

namespace velmora::bench {

/// Compares what a frame costs the host and GStreamer, together with what it costs the X server,
/// while `part` of the screen moves; adds to `memory` how many megabytes each had. True when the
/// ratio is at most `mostRatio`.
bool compareMovingScreen(CaptureRun& run, const char* measure, const ViewerRectangle& part,
                         double mostRatio, Comparison& memory);

}  // namespace velmora::bench
