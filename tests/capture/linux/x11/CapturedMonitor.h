#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Monitors.h"
#include "core/capture/linux/x11/ViewerX11Stream.h"
#include "tests/capture/linux/x11/StreamRecorder.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The id of the monitor of this name or on the output of this name; one that no monitor has when
/// there is none.
std::string uuidOf(const XServer& server, const std::string& name);

/// A stream of one monitor of a test's X server, and the receiver that it delivers to.
class CapturedMonitor final {
  public:
    static constexpr const char* queueLabel = "com.quilmer.velmora.viewer-host.capture.7";

    /// The monitor of this name or on the output of this name; it need not be there.
    explicit CapturedMonitor(const XServer& server, const std::string& name = "screen",
                             StreamRecorder::Judgement isAllowed = {});
    /// The same on a server of which only the name is known.
    CapturedMonitor(const std::string& displayName, std::string uuidText,
                    StreamRecorder::Judgement isAllowed = {});

    StreamRecorder& recorder() { return *recorder_; }
    ViewerX11Stream& stream() { return *stream_; }
    /// Starts or stops the stream and waits for what comes of it; false also when nothing does.
    bool start();
    bool stop();
    /// Starts the stream and waits for its first frame, which may take longer than a start.
    bool begin();
    /// Destroys the stream and gives up the receiver, which the test may still look at.
    std::weak_ptr<StreamRecorder> drop();

  private:
    std::shared_ptr<StreamRecorder> recorder_;
    std::shared_ptr<ViewerX11Stream> stream_;
};

/// What the capture of a rectangle of the screen has to look like, computed in the simplest way.
StreamRecorder::Picture reducedScreen(const XPainter& painter, const ViewerRectangle& area);

/// Whether no channel of any pixel differs by more than 1.
bool isNearly(const StreamRecorder::Picture& a, const StreamRecorder::Picture& b);

}  // namespace velmora
