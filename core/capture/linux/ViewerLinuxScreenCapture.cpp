#include "core/capture/linux/ViewerLinuxScreenCapture.h"

#include <optional>
#include <utility>

#include "core/capture/linux/ViewerWaylandSockets.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

/// What a look has settled, for the main thread to find. Any thread.
class ViewerLinuxScreenCapture::Settlement final {
  public:
    void settle(const ViewerLinuxSession& session) {
        const ViewerLockGuard guard(lock_);
        session_ = session;
    }
    /// Nothing until a look has found the session.
    std::optional<ViewerLinuxSession> session() {
        const ViewerLockGuard guard(lock_);
        return session_;
    }

  private:
    ViewerLock lock_;
    std::optional<ViewerLinuxSession> session_ VIEWER_GUARDED_BY(lock_);
};

/// One look under way. Belongs to whichever thread it goes on on.
struct ViewerLinuxScreenCapture::Look final {
    Look(ViewerLinuxSession start, std::shared_ptr<ViewerScreenCapture> x11Capture,
         std::shared_ptr<Settlement> result, AccessCompletion answer)
        : session(std::move(start)),
          x11(std::move(x11Capture)),
          settlement(std::move(result)),
          completion(std::move(answer)) {}

    ViewerLinuxSession session;
    const std::shared_ptr<ViewerScreenCapture> x11;
    const std::shared_ptr<Settlement> settlement;
    const AccessCompletion completion;
    /// What the X server has answered, if it was asked.
    std::optional<ViewerCaptureAccess> x11Access;
};

ViewerLinuxScreenCapture::ViewerLinuxScreenCapture(ViewerLinuxSession session,
                                                   std::shared_ptr<ViewerScreenCapture> x11,
                                                   MakeWayland makeWayland, WatchLogin watchLogin)
    : session_(std::move(session)),
      x11_(std::move(x11)),
      makeWayland_(std::move(makeWayland)),
      watchLogin_(std::move(watchLogin)),
      settlement_(std::make_shared<Settlement>()) {}

ViewerLinuxScreenCapture::~ViewerLinuxScreenCapture() = default;

void ViewerLinuxScreenCapture::lookAtAccess(AccessCompletion completion) {
    if (settlement_->session()) {
        chosen().lookAtAccess(std::move(completion));
        return;
    }
    proceed(std::make_shared<Look>(session_, x11_, settlement_, std::move(completion)));
}

void ViewerLinuxScreenCapture::proceed(const std::shared_ptr<Look>& look) {
    using Verdict = ViewerLinuxSession::Verdict;
    switch (look->session.verdict()) {
        case Verdict::lookAtXServer:
            lookAtXServer(look);
            return;
        case Verdict::lookAtSockets:
            lookAtSockets(look);
            return;
        case Verdict::x11:
        case Verdict::none:
            // Without a session it is the X server's answer too: there is no display.
            look->settlement->settle(look->session);
            if (look->x11Access) {
                look->completion(*look->x11Access);
            } else {
                look->x11->lookAtAccess(look->completion);
            }
            return;
        case Verdict::wayland:
            look->settlement->settle(look->session);
            look->completion(ViewerCaptureAccess::requestable);
            return;
        case Verdict::waylandUnreachable:
            look->completion(ViewerCaptureAccess::waylandSession);
            return;
    }
}

void ViewerLinuxScreenCapture::lookAtXServer(const std::shared_ptr<Look>& look) {
    look->x11->lookAtAccess([look](ViewerCaptureAccess access) {
        look->x11Access = access;
        // A server that refuses is this machine's all the same: refusals come from no other.
        look->session.isOwnXServer =
            access == ViewerCaptureAccess::granted || access == ViewerCaptureAccess::sessionRefuses;
        proceed(look);
    });
}

void ViewerLinuxScreenCapture::lookAtSockets(const std::shared_ptr<Look>& look) {
    const ViewerLinuxSession& session = look->session;
    if (session.waylandDisplay.empty() && session.runtimeFolder.empty()) {
        look->session.answeringSockets.emplace();
        proceed(look);
        return;
    }
    const bool isStarted = startDetachedThread("wayland-sockets", [look] {
        look->session.answeringSockets = ViewerWaylandSockets::answering(look->session.sockets());
        proceed(look);
    });
    if (!isStarted) {
        look->completion(ViewerCaptureAccess::noAnswer);
    }
}

ViewerScreenCapture& ViewerLinuxScreenCapture::chosen() {
    if (!wayland_ && !isSettledOnX11_) {
        choose();
    }
    return wayland_ ? *wayland_ : *x11_;
}

void ViewerLinuxScreenCapture::choose() {
    const auto settled = settlement_->session();
    if (!settled) {
        return;
    }
    if (settled->verdict() != ViewerLinuxSession::Verdict::wayland) {
        isSettledOnX11_ = true;
    } else if (makeWayland_) {
        wayland_ = makeWayland_(settled->compositor());
    }
}

bool ViewerLinuxScreenCapture::preflightAccess() {
    return chosen().preflightAccess();
}

void ViewerLinuxScreenCapture::requestAccess(RequestCompletion completion) {
    *isAsking_ = true;
    chosen().requestAccess(
        [isAsking = isAsking_, completion = std::move(completion)](bool isGranted) {
            *isAsking = false;
            completion(isGranted);
        });
}

void ViewerLinuxScreenCapture::withdrawRequest() {
    if (*isAsking_) {
        makeWayland_ = nullptr;
        wayland_ = nullptr;
    }
}

void ViewerLinuxScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    chosen().shareableDisplays(std::move(completion));
}

std::shared_ptr<const ViewerScreenCapture::Displays> ViewerLinuxScreenCapture::displaysAtHand() {
    return chosen().displaysAtHand();
}

std::vector<ViewerNativeScreen> ViewerLinuxScreenCapture::screens() {
    return chosen().screens();
}

std::shared_ptr<ViewerDisplayStream> ViewerLinuxScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    return chosen().makeStream(display, settings);
}

void ViewerLinuxScreenCapture::watchSession(std::function<void()> ended) {
    // Both may tell; the first is heard.
    const auto tell = [first = std::make_shared<std::function<void()>>(std::move(ended))] {
        if (const auto unheard = std::exchange(*first, nullptr)) {
            unheard();
        }
    };
    loginWatch_ = watchLogin_(tell);
    chosen().watchSession(tell);
}

std::vector<std::string> ViewerLinuxScreenCapture::sessionVariables() {
    const auto settled = settlement_->session();
    if (!settled || settled->verdict() == ViewerLinuxSession::Verdict::none) {
        return {};
    }
    const bool isWayland = settled->verdict() == ViewerLinuxSession::Verdict::wayland;
    return {"WAYLAND_DISPLAY=" + (isWayland ? settled->compositor() : std::string())};
}

}  // namespace velmora
