#include "core/coordination/ViewerFrameAccumulator.h"

#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

bool isPublishable(const ViewerBytes& jpeg) {
    return !jpeg.empty() && jpeg.size() <= ViewerHostProtocolV1::maxFrameBytes;
}

}  // namespace

ViewerFrameAccumulator::ViewerFrameAccumulator(std::string sequencePrefix)
    : sequencePrefix_(std::move(sequencePrefix)) {}

std::string ViewerFrameAccumulator::makeSequencePrefix() {
    static const std::string processFrameToken = makeRandomToken();
    return processFrameToken + "-" + makeRandomToken();
}

std::optional<ViewerHostFrame> ViewerFrameAccumulator::submit(ViewerBytes jpeg) {
    if (!isPublishable(jpeg)) {
        return std::nullopt;
    }
    const ViewerLockGuard guard(lock_);
    return publish(std::move(jpeg));
}

std::optional<ViewerHostFrame> ViewerFrameAccumulator::submit(ViewerBytes jpeg, Epoch epoch) {
    if (!isPublishable(jpeg)) {
        return std::nullopt;
    }
    const ViewerLockGuard guard(lock_);
    if (epoch != epoch_) {
        return std::nullopt;
    }
    return publish(std::move(jpeg));
}

std::optional<ViewerHostFrame> ViewerFrameAccumulator::latest() const {
    const ViewerLockGuard guard(lock_);
    return latest_;
}

void ViewerFrameAccumulator::clear() {
    const ViewerLockGuard guard(lock_);
    latest_.reset();
    ++epoch_;
}

ViewerFrameAccumulator::Epoch ViewerFrameAccumulator::epoch() const {
    const ViewerLockGuard guard(lock_);
    return epoch_;
}

ViewerHostFrame ViewerFrameAccumulator::publish(ViewerBytes jpeg) {
    // The same picture keeps its label, so that a client that compares labels sees nothing new.
    if (!latest_ || latest_->jpeg != jpeg) {
        ++counter_;
        latest_.emplace(std::move(jpeg), sequencePrefix_ + "-" + std::to_string(counter_));
    }
    return *latest_;
}

}  // namespace velmora
