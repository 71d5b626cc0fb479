#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/capture/linux/wayland/ViewerScreenCast.h"
#include "core/capture/linux/wayland/portal/ViewerScreenCastPortal.h"
#include "core/capture/linux/wayland/portal/ViewerSessionLock.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// The course of the desktop's consent, from the first dialog to the person's stop. A portal that
/// closes a session does not say why: some do it when the session is locked, or at every change of
/// the outputs, and all of them when the person stops the sharing. So the reason is looked for in
/// what happened about then; only one that is not the person's is followed by a new session, by the
/// token of the last, and not while the session is locked, where it would leave a dialog behind the
/// lock screen. Main thread only.
class ViewerPortalScreenCast final : public ViewerScreenCast,
                                     public std::enable_shared_from_this<ViewerPortalScreenCast> {
  public:
    using Clock = std::shared_ptr<ViewerContinuousClock>;
    using Instant = ViewerContinuousClock::Instant;

    /// A lock or a change of the outputs so long before or after a session was closed is why.
    static constexpr std::chrono::seconds causeWindow{3};
    /// For so long the session has to be known as not locked before anything is asked.
    static constexpr std::chrono::seconds unlockedTime{1};
    /// Between two looks at a lock that does not answer, or tells nothing by itself.
    static constexpr std::chrono::seconds lockInterval{5};

    ViewerPortalScreenCast(ViewerExecutor executor, Clock clock,
                           std::shared_ptr<ViewerScreenCastPortal> portal,
                           std::shared_ptr<ViewerSessionLock> lock);
    /// Closes the dialog, or the session.
    ~ViewerPortalScreenCast() override;
    ViewerPortalScreenCast(const ViewerPortalScreenCast&) = delete;
    ViewerPortalScreenCast& operator=(const ViewerPortalScreenCast&) = delete;

    State state() const override { return state_; }
    std::shared_ptr<const ViewerScreenCastGrant> grant() const override { return grant_; }
    void request(Answer answer) override;
    void watch(std::function<void()> changed) override { changed_ = std::move(changed); }
    void openRemote(Remote remote) override;
    void remoteIsLost() override;
    void outputsHaveChanged() override;

  private:
    using Ending = ViewerScreenCastPortal::Ending;

    void requestIsAnswered(const ViewerScreenCastPortal::Answer& answer, const Answer& told);
    void accept(const ViewerScreenCastPortal::Answer& answer);
    void sessionHasEnded(Ending ending);
    void interrupt(bool hasCause);
    void lockHasChanged(bool isLocked);
    void causeHasCome();
    /// Does what can be done about an interruption by now, and sees to it that it is looked at
    /// again when there may be more.
    void advance();
    void askLock();
    void lockHasAnswered(ViewerSessionLock::State state);
    void noteUnlocked();
    void noteLocked();
    void renew();
    void renewalIsAnswered(const ViewerScreenCastPortal::Answer& answer);
    void stop();
    void tell() const;
    /// REQUIRES: no timer is set.
    void wakeAt(Instant instant);

    const ViewerExecutor executor_;
    const Clock clock_;
    const std::shared_ptr<ViewerScreenCastPortal> portal_;
    const std::shared_ptr<ViewerSessionLock> lock_;
    std::function<void()> changed_;

    State state_ = State::none;
    std::shared_ptr<const ViewerScreenCastGrant> grant_;
    /// Stands for the grant; only ever here, never on a disk. Empty where there is none.
    std::string token_;

    /// When a lock or a change of the outputs came last that has not been a reason yet.
    std::optional<Instant> lastCause_;
    Instant interruptedAt_;
    bool hasCause_ = false;
    bool isForLostRemote_ = false;
    /// When the grant was renewed because PipeWire's connection was lost, if it was for that.
    std::optional<Instant> renewedForRemoteAt_;

    /// Since when the session is known as not locked; nothing while it is not.
    std::optional<Instant> unlockedSince_;
    /// When the lock is to be asked next.
    Instant askAt_;
    bool isAskingLock_ = false;
    bool isRenewing_ = false;
    ViewerContinuousClock::TimerId timer_;
};

}  // namespace velmora
