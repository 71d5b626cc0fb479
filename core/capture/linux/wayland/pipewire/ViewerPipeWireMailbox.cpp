#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMailbox.h"

#include <utility>

namespace velmora {

pw_buffer* ViewerPipeWireMailbox::put(pw_buffer* arrived) {
    const ViewerLockGuard guard(lock_);
    pw_buffer* const passedOver = std::exchange(newest_.buffer, arrived);
    newest_.isAfterOthers = newest_.isAfterOthers || passedOver != nullptr;
    return passedOver;
}

void ViewerPipeWireMailbox::notePassedOver() {
    const ViewerLockGuard guard(lock_);
    newest_.isAfterOthers = true;
}

ViewerPipeWireMailbox::Arrival ViewerPipeWireMailbox::take() {
    const ViewerLockGuard guard(lock_);
    if (newest_.buffer == nullptr) {
        return {};
    }
    return std::exchange(newest_, {});
}

void ViewerPipeWireMailbox::giveBack(pw_buffer* read) {
    const ViewerLockGuard guard(lock_);
    done_.push_back(read);
}

pw_buffer* ViewerPipeWireMailbox::collect() {
    const ViewerLockGuard guard(lock_);
    if (done_.empty()) {
        return nullptr;
    }
    pw_buffer* const result = done_.back();
    done_.pop_back();
    return result;
}

void ViewerPipeWireMailbox::forget(pw_buffer* buffer) {
    const ViewerLockGuard guard(lock_);
    if (newest_.buffer == buffer) {
        newest_.buffer = nullptr;
    }
    std::erase(done_, buffer);
}

}  // namespace velmora
