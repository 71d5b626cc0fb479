#pragma once

#include <functional>
#include <string>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

/// One plain copy of an output, for a screen that stands still and therefore sends no picture.
namespace ViewerScreenCopy {

using Receiver = std::function<void(const ViewerPixelBuffer&)>;

/// Has the compositor behind the socket copy the output, without the cursor, and hands the picture
/// to the receiver as a person sees it. False, and nothing is handed over, when the output is not
/// there any more or is being changed, its memory cannot be read here, or the compositor does not
/// answer within `ViewerScreenCapture::answerLimit`. Blocks for as long at most; any thread.
bool copy(const std::string& socketPath, const ViewerWaylandOutput& output,
          const Receiver& receive);

}  // namespace ViewerScreenCopy

}  // namespace velmora
