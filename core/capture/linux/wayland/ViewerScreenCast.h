#pragma once

#include <functional>
#include <memory>

#include "core/capture/ViewerCaptureAccess.h"
#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"

namespace velmora {

/// The desktop's consent to a capture of its screens, for the life of the process: asked for once,
/// renewed without a question after a lock or a change of the outputs, ended by the person. Made,
/// used and destroyed on the main thread, on which everything it tells arrives.
class ViewerScreenCast {
  public:
    enum class State {
        /// Nobody has been asked yet, or who was asked granted nothing.
        none,
        granted,
        /// Granted before; the desktop ended it for a reason that is not the person's, and it is
        /// renewed as soon as that may be done without asking.
        interrupted,
        /// The person ended it, for good.
        stopped,
    };

    using Answer = std::function<void(ViewerCaptureAccess)>;
    /// Receives a descriptor of a PipeWire connection that has the granted streams, which is then
    /// the receiver's to close, or -1 when there is none.
    using Remote = std::function<void(int descriptor)>;

    virtual ~ViewerScreenCast() = default;

    virtual State state() const = 0;
    /// What is granted now; null unless the state is `granted`.
    virtual std::shared_ptr<const ViewerScreenCastGrant> grant() const = 0;
    /// Asks the person through the desktop's own dialog, and waits without a limit. `answer` runs
    /// once, with `granted` or with the reason. Called once.
    virtual void request(Answer answer) = 0;
    /// `changed` runs whenever state or grant have changed after the request's answer.
    virtual void watch(std::function<void()> changed) = 0;
    virtual void openRemote(Remote remote) = 0;
    /// To be told when the PipeWire connection of the grant broke: it is renewed once.
    virtual void remoteIsLost() = 0;
    /// To be told when the compositor's outputs changed, at once.
    virtual void outputsHaveChanged() = 0;
};

}  // namespace velmora
