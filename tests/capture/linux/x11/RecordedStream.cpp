#include "tests/capture/linux/x11/RecordedStream.h"

#include <future>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Waits for a completion; a second one is a programming fault of whoever gives it.
template <typename Operation>
bool outcomeOf(const Operation& operation) {
    const auto answer = std::make_shared<std::promise<bool>>();
    std::future<bool> outcome = answer->get_future();
    operation([answer](bool succeeded) { answer->set_value(succeeded); });
    return outcome.wait_for(StreamRecorder::patience) == std::future_status::ready && outcome.get();
}

}  // namespace

RecordedStream::RecordedStream(std::shared_ptr<ViewerDisplayStream> stream,
                               StreamRecorder::Judgement isAllowed)
    : recorder_(std::make_shared<StreamRecorder>(std::move(isAllowed))),
      stream_(std::move(stream)) {
    viewerCheck(stream_->addOutput(recorder_, "com.quilmer.velmora.viewer-host.capture.7"),
                "a new stream takes a receiver");
}

ViewerStreamSettings RecordedStream::settings() {
    ViewerStreamSettings result;
    result.frameIntervalValue = 1;
    result.frameIntervalTimescale = ViewerHostProtocolV1::captureFramesPerSecond;
    return result;
}

bool RecordedStream::start() {
    return outcomeOf([this](const auto& completion) { stream_->start(completion); });
}

bool RecordedStream::stop() {
    return outcomeOf([this](const auto& completion) { stream_->stop(completion); });
}

bool RecordedStream::begin() {
    return start() && recorder_->waitForFrames(1);
}

bool RecordedStream::endsOnce() {
    return recorder_->waitForStop() && stop() && recorder_->stops() == 1;
}

std::weak_ptr<StreamRecorder> RecordedStream::drop() {
    std::weak_ptr<StreamRecorder> result = recorder_;
    stream_.reset();
    recorder_.reset();
    return result;
}

}  // namespace velmora
