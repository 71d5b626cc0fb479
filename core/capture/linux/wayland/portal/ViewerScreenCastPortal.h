#pragma once

#include <functional>
#include <string>

#include "core/capture/ViewerCaptureAccess.h"
#include "core/capture/linux/wayland/ViewerScreenCast.h"
#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"

namespace velmora {

/// The desktop's portal, as the course of a consent needs it: one session at a time. Main thread
/// only; what is given a function runs it later, on the main thread.
class ViewerScreenCastPortal {
  public:
    /// What became of a session that was asked for. A plain value.
    struct Answer final {
        /// `granted`, or why there is none.
        ViewerCaptureAccess access = ViewerCaptureAccess::portalSilent;
        ViewerScreenCastGrant grant = {};
        /// Stands for the grant in a later session; empty where the portal gave none.
        std::string token = {};
    };
    enum class Ending {
        /// The portal closed the session.
        closed,
        /// The portal is gone, or another one in its place: no token is known to it.
        portalLost,
    };

    using Completion = std::function<void(Answer)>;

    virtual ~ViewerScreenCastPortal() = default;

    /// `ended` runs when a granted session ends by itself. Called once.
    virtual void watch(std::function<void(Ending)> ended) = 0;
    /// Opens a session. Without a token the person is asked, and waited for without a limit; with
    /// one the person is not to be asked, and there is an answer within some seconds. Not while one
    /// is open. There is no answer after `close`.
    virtual void open(std::string token, Completion completion) = 0;
    /// Whether the token of the session that is being opened is spent.
    virtual bool hasSentToken() const = 0;
    /// Ends the session that is open or being opened, and what stands for it on the screen.
    virtual void close() = 0;
    /// `remote` receives -1 where there is no session.
    virtual void openRemote(ViewerScreenCast::Remote remote) = 0;
    /// Closes, and asks nothing ever again.
    virtual void end() = 0;
};

}  // namespace velmora
