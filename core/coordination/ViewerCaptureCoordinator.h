#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/coordination/ViewerHostCaptureSession.h"
#include "core/coordination/ViewerHostCaptureSource.h"
#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutors.h"
#include "core/runtime/ViewerIsolation.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

/// Turns requests for frames into a small pool of running captures: one starts with the first
/// request for its display, is shared by the later ones, and is stopped when nobody has asked for a
/// while. An actor, made with `std::make_shared`; its timers do not keep it alive.
class ViewerCaptureCoordinator final
    : public ViewerHostFrameProviding,
      public std::enable_shared_from_this<ViewerCaptureCoordinator> {
  public:
    /// At most `sessionLimit` captures run at once; one that no request has used for `idleTimeout`
    /// is stopped. The executors outlive the coordinator.
    ViewerCaptureCoordinator(std::shared_ptr<ViewerHostCaptureSource> source,
                             std::int64_t sessionLimit, ViewerContinuousClock::Duration idleTimeout,
                             ViewerExecutors& executors,
                             std::shared_ptr<ViewerContinuousClock> clock);
    ViewerCaptureCoordinator(const ViewerCaptureCoordinator&) = delete;
    ViewerCaptureCoordinator& operator=(const ViewerCaptureCoordinator&) = delete;

    ViewerTask<ViewerHostDisplays> displays() override;
    /// Where the limit is reached no running capture gives way, not even an idle one: a further
    /// display gets nothing.
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string displayID) override;
    std::optional<ViewerHostDisplays> displaysAtHand(const ViewerExecutor& caller) override;
    std::optional<ViewerHostFrame> frameAtHand(const ViewerExecutor& caller,
                                               std::string_view displayID) override;
    /// Stops the captures one after another. A second call returns at once.
    ViewerTask<void> shutdown() override;

  private:
    using Self = std::shared_ptr<ViewerCaptureCoordinator>;
    using Session = std::shared_ptr<ViewerHostCaptureSession>;

    /// One running capture.
    struct Entry final {
        Session session;
        /// Requests that wait for the session now.
        std::int64_t users;
        /// When the entry was made or a request for it last finished.
        ViewerContinuousClock::Instant lastUse;
        /// Fresh with every use, so that an idle timer that was set earlier knows that it is stale.
        ViewerUUID cleanupGeneration;
        /// The idle timer, or none.
        ViewerContinuousClock::TimerId cleanupTimer;
    };

    static ViewerTask<ViewerHostDisplays> displaysIsolated(Self self);
    static ViewerTask<std::optional<ViewerHostFrame>> frameIsolated(Self self,
                                                                    std::string displayID);
    static ViewerTask<void> shutdownIsolated(Self self);
    static ViewerTask<void> expireIfIdle(Self self, ViewerUUID generation);

    Entry* findOrMakeEntry(const std::string& displayID) VIEWER_REQUIRES(isolation_);
    Session beginUse(const std::string& displayID) VIEWER_REQUIRES(isolation_);
    void endUse(const std::string& displayID) VIEWER_REQUIRES(isolation_);
    /// A request for the entry's display has just finished.
    void noteUse(Entry& entry) VIEWER_REQUIRES(isolation_);
    void scheduleCleanup(Entry& entry) VIEWER_REQUIRES(isolation_);
    void cancelCleanup(Entry& entry);
    bool hasExpired(const Entry& entry, const ViewerUUID& generation) const;

    const std::shared_ptr<ViewerHostCaptureSource> source_;
    const std::int64_t sessionLimit_;
    const ViewerContinuousClock::Duration idleTimeout_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const ViewerIsolation isolation_;

    /// By display id.
    std::map<std::string, Entry, std::less<>> entries_ VIEWER_GUARDED_BY(isolation_);
    bool isShuttingDown_ VIEWER_GUARDED_BY(isolation_) = false;
};

}  // namespace velmora
