#pragma once

#include <memory>
#include <string>

#include "core/capture/linux/bus/ViewerLazyBus.h"
#include "core/capture/linux/wayland/portal/ViewerPortalSession.h"
#include "core/capture/linux/wayland/portal/ViewerScreenCastPortal.h"

namespace velmora {

/// The desktop's portal on the session bus. Made, used and destroyed on the main thread.
class ViewerDesktopPortal final : public ViewerScreenCastPortal,
                                  public std::enable_shared_from_this<ViewerDesktopPortal> {
  public:
    using Clock = ViewerBusConnection::Clock;
    using Access = ViewerCaptureAccess;

    /// For so long the first call is waited for: it may start the portal, which has been seen to
    /// take 25 s.
    static constexpr std::chrono::seconds firstLimit{60};

    ViewerDesktopPortal(std::shared_ptr<ViewerLazyBus> bus, ViewerExecutor executor, Clock clock);

    void watch(std::function<void(Ending)> ended) override { ended_ = std::move(ended); }
    void open(std::string token, Completion completion) override;
    bool hasSentToken() const override { return session_ && session_->hasSentToken(); }
    void close() override;
    void openRemote(ViewerScreenCast::Remote remote) override;
    void end() override;

  private:
    static ViewerTask<void> converse(std::shared_ptr<ViewerDesktopPortal> self, std::string token,
                                     Completion completion);
    /// Makes this program known to the portal; `granted` when that is done.
    ViewerTask<Access> introduce();
    /// What the portal offers; without it, why there is nothing.
    ViewerTask<Access> look();
    ViewerBusMessage makeRegistration() const;
    void watchPortal();
    void ownerHasChanged(sd_bus_message* signal);
    void lose(Access reason);

    const std::shared_ptr<ViewerLazyBus> lazyBus_;
    const ViewerExecutor executor_;
    const Clock clock_;
    /// Null before the first session, and where there is none.
    std::shared_ptr<ViewerBusConnection> bus_;
    std::shared_ptr<void> ownerSubscription_;
    bool isIntroduced_ = false;
    ViewerPortalOffer offer_;
    /// Counts the sessions that were asked for or closed: whoever comes back from a wait knows by
    /// it whether anybody still wants to hear.
    std::uint64_t course_ = 0;
    std::shared_ptr<ViewerPortalSession> session_;
    std::function<void(Ending)> ended_;
};

}  // namespace velmora
