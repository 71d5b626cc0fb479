#include "core/coordination/ViewerCaptureCoordinator.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

/// The clock gives this to no timer.
constexpr ViewerContinuousClock::TimerId noTimer;

}  // namespace

ViewerCaptureCoordinator::ViewerCaptureCoordinator(std::shared_ptr<ViewerHostCaptureSource> source,
                                                   std::int64_t sessionLimit,
                                                   ViewerContinuousClock::Duration idleTimeout,
                                                   ViewerExecutors& executors,
                                                   std::shared_ptr<ViewerContinuousClock> clock)
    : source_(std::move(source)),
      sessionLimit_(sessionLimit),
      idleTimeout_(idleTimeout),
      clock_(std::move(clock)),
      isolation_(executors.makeSerialExecutor("com.quilmer.velmora.viewer-host.coordinator")) {}

ViewerTask<ViewerHostDisplays> ViewerCaptureCoordinator::displays() {
    return isolation_.run(displaysIsolated(shared_from_this()));
}

ViewerTask<std::optional<ViewerHostFrame>> ViewerCaptureCoordinator::frame(std::string displayID) {
    return isolation_.run(frameIsolated(shared_from_this(), std::move(displayID)));
}

std::optional<ViewerHostDisplays> ViewerCaptureCoordinator::displaysAtHand(
    const ViewerExecutor& caller) {
    if (!isolation_.isEnteredBy(caller)) {
        return std::nullopt;
    }
    isolation_.assertInside();
    return isShuttingDown_ ? std::nullopt : source_->displaysAtHand();
}

std::optional<ViewerHostFrame> ViewerCaptureCoordinator::frameAtHand(const ViewerExecutor& caller,
                                                                     std::string_view displayID) {
    if (!isolation_.isEnteredBy(caller)) {
        return std::nullopt;
    }
    isolation_.assertInside();
    const auto found = entries_.find(displayID);
    if (found == entries_.end()) {
        return std::nullopt;
    }
    auto frame = found->second.session->frameAtHand(caller);
    if (frame) {
        noteUse(found->second);
    }
    return frame;
}

ViewerTask<void> ViewerCaptureCoordinator::shutdown() {
    return isolation_.run(shutdownIsolated(shared_from_this()));
}

ViewerTask<ViewerHostDisplays> ViewerCaptureCoordinator::displaysIsolated(Self self) {
    self->isolation_.assertInside();
    if (self->isShuttingDown_) {
        co_return ViewerHostDisplays();
    }
    co_return co_await self->source_->displays();
}

ViewerTask<std::optional<ViewerHostFrame>> ViewerCaptureCoordinator::frameIsolated(
    Self self, std::string displayID) {
    self->isolation_.assertInside();
    const Session session = self->beginUse(displayID);
    if (!session) {
        co_return std::nullopt;
    }
    auto frame = co_await session->latestFrame();
    self->endUse(displayID);
    co_return frame;
}

ViewerTask<void> ViewerCaptureCoordinator::shutdownIsolated(Self self) {
    self->isolation_.assertInside();
    if (self->isShuttingDown_) {
        co_return;
    }
    self->isShuttingDown_ = true;
    auto entries = std::exchange(self->entries_, {});
    for (auto& [displayID, entry] : entries) {
        self->cancelCleanup(entry);
    }
    for (const auto& [displayID, entry] : entries) {
        co_await entry.session->stop();
    }
}

ViewerTask<void> ViewerCaptureCoordinator::expireIfIdle(Self self, ViewerUUID generation) {
    self->isolation_.assertInside();
    const auto found = std::ranges::find_if(self->entries_, [&](const auto& entry) {
        return self->hasExpired(entry.second, generation);
    });
    if (found == self->entries_.end()) {
        co_return;
    }
    const Session session = std::move(found->second.session);
    self->entries_.erase(found);
    co_await session->stop();
}

ViewerCaptureCoordinator::Entry* ViewerCaptureCoordinator::findOrMakeEntry(
    const std::string& displayID) {
    const auto found = entries_.find(displayID);
    if (found != entries_.end()) {
        return &found->second;
    }
    if (static_cast<std::int64_t>(entries_.size()) >= sessionLimit_) {
        return nullptr;
    }
    Session session = source_->makeSession(displayID);
    if (!session) {
        return nullptr;
    }
    const Entry entry{std::move(session), 0, clock_->now(), makeRandomUUID(), noTimer};
    return &entries_.emplace(displayID, entry).first->second;
}

ViewerCaptureCoordinator::Session ViewerCaptureCoordinator::beginUse(const std::string& displayID) {
    Entry* const entry = isShuttingDown_ ? nullptr : findOrMakeEntry(displayID);
    if (entry == nullptr) {
        return nullptr;
    }
    viewerCheck(entry->users < std::numeric_limits<std::int64_t>::max(),
                "the requests for a display can be counted");
    ++entry->users;
    entry->cleanupGeneration = makeRandomUUID();
    cancelCleanup(*entry);
    return entry->session;
}

void ViewerCaptureCoordinator::endUse(const std::string& displayID) {
    // A shutdown during the wait has taken the entry.
    const auto found = entries_.find(displayID);
    if (found == entries_.end()) {
        return;
    }
    Entry& entry = found->second;
    entry.users = std::max<std::int64_t>(entry.users - 1, 0);
    noteUse(entry);
}

void ViewerCaptureCoordinator::noteUse(Entry& entry) {
    entry.lastUse = clock_->now();
    entry.cleanupGeneration = makeRandomUUID();
    scheduleCleanup(entry);
}

void ViewerCaptureCoordinator::scheduleCleanup(Entry& entry) {
    // Another request for the display may have finished first: its timer can no longer act.
    cancelCleanup(entry);
    entry.cleanupTimer = clock_->schedule(
        clock_->now() + idleTimeout_, isolation_.executor(),
        ifAlive(weak_from_this(),
                [generation = entry.cleanupGeneration](ViewerCaptureCoordinator& self) {
                    (void)startTask(
                        self.isolation_.executor(),
                        expireIfIdle(self.shared_from_this(), generation));  // is never cancelled
                }));
}

void ViewerCaptureCoordinator::cancelCleanup(Entry& entry) {
    clock_->withdraw(std::exchange(entry.cleanupTimer, noTimer));
}

bool ViewerCaptureCoordinator::hasExpired(const Entry& entry, const ViewerUUID& generation) const {
    return entry.users == 0 && entry.cleanupGeneration == generation &&
           clock_->now() - entry.lastUse >= idleTimeout_;
}

}  // namespace velmora
