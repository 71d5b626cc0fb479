#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/ViewerGrantedDisplays.h"
#include "core/capture/linux/wayland/ViewerScreenCast.h"
#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputs.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// The screen capture of a Wayland session: what the person granted through the desktop's portal,
/// told apart by what the compositor says of its outputs, streamed by PipeWire. While the desktop
/// has interrupted the grant the displays stay listed, and no stream of theirs starts. Made, used
/// and destroyed on the main thread, as a shared object.
class ViewerWaylandScreenCapture final
    : public ViewerScreenCapture,
      public std::enable_shared_from_this<ViewerWaylandScreenCapture> {
  public:
    /// Makes the connection to PipeWire over a descriptor, which is its own from then on. `lost`
    /// runs on the main thread when the connection broke, at most once, and neither before this
    /// returns nor after the connection is gone.
    using MakeRemote = std::function<std::shared_ptr<ViewerScreenCastRemote>(
        int descriptor, std::function<void()> lost)>;
    /// Copies an output, as a remote's `StillPicture` does.
    using CopyOutput =
        std::function<bool(const ViewerWaylandOutput& output,
                           const std::function<void(const ViewerPixelBuffer&)>& receive)>;

    /// What the capture stands on.
    struct Parts final {
        std::shared_ptr<ViewerOutputs> outputs;
        std::shared_ptr<ViewerScreenCast> screenCast;
        MakeRemote makeRemote;
        CopyOutput copyOutput;
        /// Where the kernel tells of monitors.
        std::filesystem::path drmFolder;
    };

    /// The capture of the session whose compositor listens on that socket.
    static std::shared_ptr<ViewerWaylandScreenCapture> onSocket(
        ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock,
        const std::string& socketPath, std::shared_ptr<ViewerScreenCast> screenCast,
        MakeRemote makeRemote);

    ViewerWaylandScreenCapture(ViewerExecutor mainExecutor,
                               std::shared_ptr<ViewerContinuousClock> clock, Parts parts);
    ViewerWaylandScreenCapture(const ViewerWaylandScreenCapture&) = delete;
    ViewerWaylandScreenCapture& operator=(const ViewerWaylandScreenCapture&) = delete;

    /// Never before the person was asked: there is no way to know.
    bool preflightAccess() override;
    /// `requestable` before the request, then what came of it; at once.
    void lookAtAccess(AccessCompletion completion) override;
    void requestAccess(RequestCompletion completion) override;
    void shareableDisplays(DisplaysCompletion completion) override;
    std::shared_ptr<const Displays> displaysAtHand() override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;
    void watchSession(std::function<void()> ended) override;

  private:
    using Self = std::shared_ptr<ViewerWaylandScreenCapture>;
    using Remote = std::shared_ptr<ViewerScreenCastRemote>;
    using Nodes = std::optional<std::vector<ViewerStreamNode>>;
    /// Numbers the tries to make a grant usable: what belongs to an earlier one counts no more.
    using Round = std::uint64_t;

    void startOutputs();
    void outputsHaveChanged();
    void requestIsAnswered(ViewerCaptureAccess access);
    void screenCastHasChanged();
    void remoteIsLost(Round round);

    static ViewerTask<void> takeGrant(Self self, Round round);
    /// Whether the grant can be used now, or why not.
    static ViewerTask<ViewerCaptureAccess> prepare(Self self, Round round);
    static ViewerTask<int> openRemote(Self self);
    static ViewerTask<Nodes> describe(Self self, Remote remote);
    static ViewerTask<ViewerOutputs::Current> knownOutputs(Self self);
    void grantIsTaken(ViewerCaptureAccess access);

    /// Ends what is streamed, and listens for the end of PipeWire.
    void interrupt();
    void dropRemote();
    /// There is no permission, for good.
    void refuse(ViewerCaptureAccess reason);

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const Parts parts_;
    ViewerGrantedDisplays displays_;
    /// What is known of the permission.
    ViewerCaptureAccess access_ = ViewerCaptureAccess::requestable;
    /// Set from the request to its answer.
    RequestCompletion request_;
    bool hasStartedOutputs_ = false;
    /// Whether the outputs were known at the last change.
    bool wereOutputsKnown_ = false;
    /// Those who wait for the outputs to be known.
    std::vector<std::function<void(bool)>> waitingForOutputs_;
    Round round_ = 0;
    /// The grant that the last round is for.
    std::shared_ptr<const ViewerScreenCastGrant> grant_;
    /// Set while the grant can be used.
    Remote remote_;
};

}  // namespace velmora
