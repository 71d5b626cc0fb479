#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"
#include "tests/capture/linux/x11/StreamRecorder.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The capture of one monitor without a stream around it, on a thread of its own: with a pacing of
/// its own and without any comparison of rows, so that nothing but the server's notices can bring a
/// change. It ends with this object. One thread.
class RunningCapture final {
  public:
    RunningCapture(const XServer& server, const std::string& name,
                   StreamRecorder::Judgement isAllowed = {},
                   std::shared_ptr<ViewerX11Pacing> pacing = std::make_shared<ViewerX11Pacing>());
    ~RunningCapture();
    RunningCapture(const RunningCapture&) = delete;
    RunningCapture& operator=(const RunningCapture&) = delete;

    /// Its one stop is the end of the capture.
    StreamRecorder& recorder() { return recorder_; }

    const ViewerX11Pacing& pacing() const { return *pacing_; }

  private:
    StreamRecorder recorder_;
    const std::shared_ptr<ViewerX11Pacing> pacing_;
    const std::shared_ptr<ViewerX11Connection> connection_;
    /// Last, so that everything it uses is there before it.
    std::thread thread_;
};

}  // namespace velmora
