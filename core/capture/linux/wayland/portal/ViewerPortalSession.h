#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/capture/linux/bus/ViewerBusConnection.h"
#include "core/capture/linux/wayland/portal/ViewerPortalRequest.h"
#include "core/capture/linux/wayland/portal/ViewerPortalResponse.h"

namespace velmora {

/// One session of the portal in which screens are cast, from its making to its end. Main thread
/// only.
class ViewerPortalSession final : public std::enable_shared_from_this<ViewerPortalSession> {
  public:
    using Bus = ViewerPortalRequest::Bus;
    using Clock = ViewerPortalRequest::Clock;
    using Remote = std::function<void(int descriptor)>;

    ViewerPortalSession(Bus bus, ViewerExecutor executor, Clock clock);
    ViewerPortalSession(const ViewerPortalSession&) = delete;
    ViewerPortalSession& operator=(const ViewerPortalSession&) = delete;

    /// Makes the session and starts it. Without a token the person is asked, at one of its two
    /// steps or the other, and waited for without a limit; with one the person is not to be asked,
    /// and who does it nevertheless is told after `ViewerScreenCapture::answerLimit` to leave it.
    /// Called once.
    ViewerTask<ViewerPortalResponse> open(std::string token, bool canHideCursor);
    /// Whether the token that `open` was given has been sent, after which it is spent.
    bool hasSentToken() const { return hasSentToken_; }
    bool isOpen() const { return isOpen_ && !end_; }
    /// `ended` runs once, when the portal ends a session that was opened.
    void whenClosed(std::function<void()> ended) { ended_ = std::move(ended); }
    /// Ends the session, and what stands for it on the screen. REQUIRES: `open` was called.
    void close(ViewerCaptureAccess reason);
    /// A new descriptor, the receiver's to close, or -1. Runs once, later.
    static ViewerTask<void> openRemote(std::shared_ptr<ViewerPortalSession> self, Remote remote);

  private:
    using Response = ViewerPortalResponse;
    using Limit = std::optional<ViewerPortalRequest::Duration>;

    void listen();
    void closedHasCome(sd_bus_message* signal);
    ViewerTask<Response> create();
    ViewerTask<Response> selectSources(std::string token, bool canHideCursor, Limit limit);
    ViewerTask<Response> start(Limit limit);
    ViewerTask<Response> outcomeOf(ViewerBusMessage call, Limit limit);
    /// A call of the portal's interface for screens; of this session where there is one.
    ViewerBusMessage makeCall(const char* member) const;
    void beginRequest();
    void sendClose();

    const Bus bus_;
    const ViewerExecutor executor_;
    const Clock clock_;
    std::shared_ptr<void> subscription_;
    std::shared_ptr<ViewerPortalRequest> request_;
    /// The session's object; empty until it is made.
    std::string handle_;
    bool hasSentToken_ = false;
    bool isOpen_ = false;
    /// Whether the portal closed the session before it was open.
    bool wasClosedEarly_ = false;
    /// Whose end it was, as an access.
    std::optional<ViewerCaptureAccess> end_;
    std::function<void()> ended_;
};

}  // namespace velmora
