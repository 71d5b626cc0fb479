#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"

namespace velmora {

/// How a stream answers what it is told.
enum class ScriptedAnswer { succeed, fail, hold };

/// What a stream was told and what became of it. Outlives the stream, so that a test can look at it
/// and let late things happen. One thread.
struct ScriptedStreamCourse final {
    using Completion = ViewerDisplayStream::Completion;

    /// Completes the start, or the stop, that has been held longest.
    void completeStart(bool succeeded);
    void completeStop(bool succeeded);
    /// Delivers a complete frame of one colour to the receiver, if that still lives.
    void deliverPicture(std::uint8_t shade);
    void deliver(const ViewerStreamOutput& output);
    /// The stream ends by itself and says so.
    void die();

    bool acceptsOutput = true;
    ScriptedAnswer startAnswer = ScriptedAnswer::succeed;
    ScriptedAnswer stopAnswer = ScriptedAnswer::succeed;

    ViewerNativeDisplay display;
    ViewerStreamSettings settings;
    std::string queueLabel;
    /// Held by the stream.
    std::weak_ptr<ViewerStreamReceiver> receiver;
    std::vector<Completion> heldStarts;
    std::vector<Completion> heldStops;
    int starts = 0;
    int stops = 0;
    /// From a start that succeeded to a stop that succeeded, a death, or the stream's destruction.
    bool isRunning = false;
    bool isDestroyed = false;
};

/// A stream that answers as its course says, and notes there what happens to it. One thread.
class ScriptedDisplayStream final : public ViewerDisplayStream {
  public:
    explicit ScriptedDisplayStream(std::shared_ptr<ScriptedStreamCourse> course);
    ScriptedDisplayStream(const ScriptedDisplayStream&) = delete;
    ScriptedDisplayStream& operator=(const ScriptedDisplayStream&) = delete;
    ~ScriptedDisplayStream() override;

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) override;
    void start(Completion completion) override;
    void stop(Completion completion) override;

  private:
    const std::shared_ptr<ScriptedStreamCourse> course_;
    std::shared_ptr<ViewerStreamReceiver> receiver_;
};

}  // namespace velmora
