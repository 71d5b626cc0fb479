#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "tests/capture/linux/x11/RecordedStream.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The id of the monitor of this name or on the output of this name; one that no monitor has when
/// there is none.
std::string uuidOf(const XServer& server, const std::string& name);

/// A stream of one monitor of a test's X server.
class CapturedMonitor final : public RecordedStream {
  public:
    /// The monitor of this name or on the output of this name; it need not be there.
    explicit CapturedMonitor(const XServer& server, const std::string& name = "screen",
                             StreamRecorder::Judgement isAllowed = {});
    /// The same on a server of which only the name is known.
    CapturedMonitor(const std::string& displayName, std::string uuidText,
                    StreamRecorder::Judgement isAllowed = {});
};

/// What the capture of a rectangle of the screen has to look like, computed in the simplest way.
StreamRecorder::Picture reducedScreen(const XPainter& painter, const ViewerRectangle& area);

/// Whether no channel of any pixel differs by more than 1.
bool isNearly(const StreamRecorder::Picture& a, const StreamRecorder::Picture& b);

}  // namespace velmora
