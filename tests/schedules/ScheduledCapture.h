#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/coordination/ViewerHostCaptureSource.h"
#include "tests/schedules/ScheduledWorld.h"

namespace velmora {

/// How the platform of a capture world is.
struct CaptureManners final {
    /// When the platform does something that it was asked for: before the call returns, as work of
    /// its own, or as late as it likes.
    enum class Moment { atOnce, soon, late };

    Moment start = Moment::soon;
    Moment picture = Moment::soon;
    Moment stop = Moment::soon;
    bool startSucceeds = true;
    /// The first stream of a display dies when it likes, once it was told to start.
    bool dies = false;
    /// The capture of a display cannot be set up.
    bool takesNoReceiver = false;
};

/// One stream as the platform saw it.
struct StreamNotes final {
    std::string name;
    bool isStartAsked = false;
    bool isStartAnswered = false;
    bool hasStarted = false;
    bool hasDied = false;
    bool isDestroyed = false;
    std::size_t stopsBeforeStart = 0;
    std::size_t stops = 0;
};

/// One session as the coordinator treats it. What is counted changes in the coordinator's queue.
struct SessionNotes final {
    std::size_t inside = 0;
    std::size_t stops = 0;
    ViewerContinuousClock::Instant lastUse;
};

struct DisplayNotes final {
    ViewerNativeDisplay display;
    bool isAskedFor = false;
    std::vector<std::shared_ptr<StreamNotes>> streams;
    std::vector<std::shared_ptr<SessionNotes>> sessions;
};

/// The displays of a small world, their real sessions and the platform under these. One thread.
class ScheduledCapture final : public ViewerHostCaptureSource,
                               public ViewerScreenCapture,
                               public std::enable_shared_from_this<ScheduledCapture> {
  public:
    /// What a capture tells its world.
    struct Ears final {
        std::function<void(bool holds, std::string_view rule)> expect;
        std::function<void(std::string_view event, std::string_view name)> tell;
        std::function<void(std::string_view state)> reach;
    };

    ScheduledCapture(ScheduledWorld& world, CaptureManners manners, std::size_t sessionLimit,
                     Ears ears);

    ViewerTask<ViewerHostDisplays> displays() override;
    std::shared_ptr<ViewerHostCaptureSession> makeSession(const std::string& displayID) override;

    bool preflightAccess() override { return true; }
    void lookAtAccess(AccessCompletion) override {}
    void requestAccess(RequestCompletion) override {}
    void shareableDisplays(DisplaysCompletion) override {}
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;

    DisplayNotes& notesOf(const std::string& displayID) { return displays_.at(displayID); }
    /// Looks behind the end of everything.
    void check() const;

    /// Somebody has asked for the shutdown.
    bool isShuttingDown = false;
    /// It is over.
    bool isShutDown = false;

  private:
    class Session;
    class Stream;
    class StreamLife;

    ScheduledWorld& world_;
    const CaptureManners manners_;
    const std::size_t sessionLimit_;
    const Ears ears_;
    /// By display id; all of them from the beginning.
    std::map<std::string, DisplayNotes> displays_;
    std::size_t liveSessions_ = 0;
};

}  // namespace velmora
