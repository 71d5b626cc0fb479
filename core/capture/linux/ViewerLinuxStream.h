#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// The life of a stream, whatever its pictures come from: who waits for its start and its stop, and
/// when its receiver is told what. It goes through its phases once, in their order, and lives until
/// nobody holds it and its capture has ended. Any thread; nothing here blocks.
class ViewerLinuxStream : public ViewerDisplayStream,
                          public std::enable_shared_from_this<ViewerLinuxStream> {
  public:
    /// What is given to whoever wants the stream: when the last copy goes, the stream is stopped.
    static std::shared_ptr<ViewerDisplayStream> handedOut(
        const std::shared_ptr<ViewerLinuxStream>& stream);

    ViewerLinuxStream(const ViewerLinuxStream&) = delete;
    ViewerLinuxStream& operator=(const ViewerLinuxStream&) = delete;

    /// False once the stream was started.
    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string queueLabel) final;
    /// Completes with true after the first picture was handed over, or after 100 ms without one;
    /// with false when the stream has failed or is stopped before. A stream starts once.
    void start(Completion completion) final;
    /// Completes when the stream uses its receiver no more.
    void stop(Completion completion) final;

  protected:
    /// Of the settings only the time between pictures counts: the pictures are as large as what is
    /// seen, reduced. The clock is that of the executor, on which it is told when a start has taken
    /// long enough.
    ViewerLinuxStream(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                      const ViewerStreamSettings& settings);

    /// Begins to capture, unless a stop is requested, and comes to its `end` in any case. Called
    /// once at most.
    virtual void begin(const std::string& queueLabel) = 0;
    /// A stop is requested: ends the capture soon, also one that has just ended or that `begin` has
    /// not come to yet. Any number of times.
    virtual void giveUp() = 0;

    /// The least time between two pictures.
    std::chrono::nanoseconds frameInterval() const { return frameInterval_; }
    bool isStopRequested();
    /// One call at a time, after `begin` and before `end`.
    void deliver(const ViewerPixelBuffer& pixels);
    /// The capture has ended, or never began, and delivers nothing more. Any number of times.
    void end();

    /// Guards, too, what a capture has to keep in step with the request of a stop.
    ViewerLock lock_;
    bool isStopRequested_ VIEWER_GUARDED_BY(lock_) = false;

  private:
    enum class Phase { idle, running, ending, ended };

    void limitStart();
    /// False when the start has completed already.
    bool completeStart(bool succeeded);

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::chrono::nanoseconds frameInterval_;

    Phase phase_ VIEWER_GUARDED_BY(lock_) = Phase::idle;
    Completion startCompletion_ VIEWER_GUARDED_BY(lock_);
    std::vector<Completion> stopCompletions_ VIEWER_GUARDED_BY(lock_);
    /// Never changed once the stream was started.
    std::shared_ptr<ViewerStreamReceiver> receiver_;
    std::string queueLabel_;
};

}  // namespace velmora
