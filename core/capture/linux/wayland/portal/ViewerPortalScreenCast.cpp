#include "core/capture/linux/wayland/portal/ViewerPortalScreenCast.h"

#include <utility>

#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

ViewerPortalScreenCast::ViewerPortalScreenCast(ViewerExecutor executor, Clock clock,
                                               std::shared_ptr<ViewerScreenCastPortal> portal,
                                               std::shared_ptr<ViewerSessionLock> lock)
    : executor_(std::move(executor)),
      clock_(std::move(clock)),
      portal_(std::move(portal)),
      lock_(std::move(lock)) {}

ViewerPortalScreenCast::~ViewerPortalScreenCast() {
    clock_->withdraw(timer_);
    portal_->end();
    lock_->end();
}

void ViewerPortalScreenCast::request(Answer answer) {
    portal_->watch(ifAlive(weak_from_this(), &ViewerPortalScreenCast::sessionHasEnded));
    portal_->open(
        "", ifAlive(weak_from_this(),
                    [told = std::move(answer)](ViewerPortalScreenCast& self,
                                               const ViewerScreenCastPortal::Answer& portalAnswer) {
                        self.requestIsAnswered(portalAnswer, told);
                    }));
}

void ViewerPortalScreenCast::requestIsAnswered(const ViewerScreenCastPortal::Answer& answer,
                                               const Answer& told) {
    if (answer.access == ViewerCaptureAccess::granted) {
        lock_->watch(ifAlive(weak_from_this(), &ViewerPortalScreenCast::lockHasChanged));
        accept(answer);
    }
    told(answer.access);
}

void ViewerPortalScreenCast::accept(const ViewerScreenCastPortal::Answer& answer) {
    state_ = State::granted;
    grant_ = std::make_shared<const ViewerScreenCastGrant>(answer.grant);
    token_ = answer.token;
}

void ViewerPortalScreenCast::openRemote(Remote remote) {
    portal_->openRemote(std::move(remote));
}

void ViewerPortalScreenCast::sessionHasEnded(Ending ending) {
    if (state_ != State::granted) {
        return;
    }
    if (ending == Ending::portalLost) {
        token_.clear();
    }
    interrupt(lastCause_ && clock_->now() - *lastCause_ <= causeWindow);
    advance();
}

void ViewerPortalScreenCast::remoteIsLost() {
    if (state_ == State::interrupted && !isRenewing_) {
        isForLostRemote_ = true;
        causeHasCome();
        return;
    }
    if (state_ != State::granted) {
        return;
    }
    const bool isSameLoss =
        renewedForRemoteAt_ && clock_->now() - *renewedForRemoteAt_ <= causeWindow;
    portal_->close();
    if (isSameLoss) {
        stop();
        return;
    }
    interrupt(true);
    isForLostRemote_ = true;
    advance();
}

void ViewerPortalScreenCast::interrupt(bool hasCause) {
    state_ = State::interrupted;
    grant_ = nullptr;
    interruptedAt_ = clock_->now();
    hasCause_ = hasCause;
    isForLostRemote_ = false;
    // What was known of the lock says nothing about one that is about to come.
    unlockedSince_.reset();
    askAt_ = interruptedAt_;
    tell();
}

void ViewerPortalScreenCast::outputsHaveChanged() {
    lastCause_ = clock_->now();
    causeHasCome();
}

void ViewerPortalScreenCast::lockHasChanged(bool isLocked) {
    if (!isLocked) {
        noteUnlocked();
        advance();
        return;
    }
    noteLocked();
    lastCause_ = clock_->now();
    if (isRenewing_ && !portal_->hasSentToken()) {
        // The token is still good: the whole renewal waits for the end of this lock.
        portal_->close();
        isRenewing_ = false;
    }
    causeHasCome();
}

void ViewerPortalScreenCast::causeHasCome() {
    const bool isInTime = clock_->now() - interruptedAt_ <= causeWindow;
    // What comes before the lock's answer may have come in time, and have waited while the machine
    // slept.
    if (isInTime || isAskingLock_) {
        hasCause_ = true;
    }
    advance();
}

void ViewerPortalScreenCast::advance() {
    if (state_ != State::interrupted || isRenewing_) {
        return;
    }
    clock_->withdraw(timer_);
    const Instant endOfCauses = interruptedAt_ + causeWindow;
    if (token_.empty()) {
        stop();
    } else if (isAskingLock_) {
        return;  // the answer leads back here
    } else if (!hasCause_ && clock_->now() <= endOfCauses) {
        wakeAt(endOfCauses + ViewerContinuousClock::Duration(1));
    } else if (hasCause_ && clock_->now() < askAt_) {
        wakeAt(askAt_);
    } else {
        askLock();
    }
}

void ViewerPortalScreenCast::askLock() {
    isAskingLock_ = true;
    lock_->ask(ifAlive(weak_from_this(), &ViewerPortalScreenCast::lockHasAnswered));
}

void ViewerPortalScreenCast::lockHasAnswered(ViewerSessionLock::State state) {
    isAskingLock_ = false;
    if (!hasCause_) {
        stop();
        return;
    }
    if (state != ViewerSessionLock::State::unlocked) {
        noteLocked();
    } else if (unlockedSince_ && clock_->now() - *unlockedSince_ >= unlockedTime) {
        renew();
        return;
    } else {
        noteUnlocked();
    }
    advance();
}

void ViewerPortalScreenCast::noteUnlocked() {
    unlockedSince_ = unlockedSince_.value_or(clock_->now());
    askAt_ = *unlockedSince_ + unlockedTime;
}

void ViewerPortalScreenCast::noteLocked() {
    unlockedSince_.reset();
    askAt_ = clock_->now() + lockInterval;
}

void ViewerPortalScreenCast::renew() {
    isRenewing_ = true;
    // One cause is good for one renewal.
    lastCause_.reset();
    portal_->open(token_, ifAlive(weak_from_this(), &ViewerPortalScreenCast::renewalIsAnswered));
}

void ViewerPortalScreenCast::renewalIsAnswered(const ViewerScreenCastPortal::Answer& answer) {
    isRenewing_ = false;
    if (answer.access != ViewerCaptureAccess::granted) {
        stop();
        return;
    }
    accept(answer);
    renewedForRemoteAt_ = isForLostRemote_ ? std::optional(clock_->now()) : std::nullopt;
    tell();
}

void ViewerPortalScreenCast::stop() {
    portal_->close();
    token_.clear();
    grant_ = nullptr;
    state_ = State::stopped;
    tell();
}

void ViewerPortalScreenCast::tell() const {
    if (changed_) {
        changed_();
    }
}

void ViewerPortalScreenCast::wakeAt(Instant instant) {
    timer_ = clock_->schedule(instant, executor_,
                              ifAlive(weak_from_this(), &ViewerPortalScreenCast::advance));
}

}  // namespace velmora
