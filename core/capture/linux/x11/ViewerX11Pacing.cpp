#include "core/capture/linux/x11/ViewerX11Pacing.h"

#include <algorithm>

namespace velmora {

const std::shared_ptr<ViewerX11Pacing>& ViewerX11Pacing::ofProcess() {
    // Never destroyed: a capture that is stuck in the X server may outlive everything else.
    static const auto* const shared =
        new std::shared_ptr<ViewerX11Pacing>(std::make_shared<ViewerX11Pacing>());
    return *shared;
}

ViewerX11Pacing::Instant ViewerX11Pacing::nextFetch() const {
    const ViewerLockGuard guard(lock_);
    return nextFetch_;
}

void ViewerX11Pacing::begin(Instant now) {
    const ViewerLockGuard guard(lock_);
    if (underWay_ == 0) {
        counted_ = now;
    }
    ++underWay_;
}

void ViewerX11Pacing::end(Instant now) {
    const ViewerLockGuard guard(lock_);
    --underWay_;
    // What is owed already is paid one after the other.
    const Instant paid = std::max(nextFetch_, counted_) + 2 * (now - counted_);
    nextFetch_ = std::min(paid, now + maximumPause);
    counted_ = now;
}

}  // namespace velmora
