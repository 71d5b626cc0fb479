#pragma once

#include <memory>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/capture/linux/x11/StreamRecorder.h"

namespace velmora {

/// A stream, and the receiver that it delivers to. One thread.
class RecordedStream {
  public:
    /// Of a stream that was not started.
    explicit RecordedStream(std::shared_ptr<ViewerDisplayStream> stream,
                            StreamRecorder::Judgement isAllowed = {});

    /// The settings of a stream of the host's: at most 25 pictures a second.
    static ViewerStreamSettings settings();

    StreamRecorder& recorder() { return *recorder_; }
    ViewerDisplayStream& stream() { return *stream_; }
    /// Starts or stops the stream and waits for what comes of it; false also when nothing does.
    bool start();
    bool stop();
    /// Starts the stream and waits for its first frame, which may take longer than a start.
    bool begin();
    /// Whether the stream gives notice of its end, and does so once.
    bool endsOnce();
    /// Destroys the stream and gives up the receiver, which the test may still look at.
    std::weak_ptr<StreamRecorder> drop();

  private:
    std::shared_ptr<StreamRecorder> recorder_;
    std::shared_ptr<ViewerDisplayStream> stream_;
};

}  // namespace velmora
