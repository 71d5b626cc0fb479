#include "bench/change/FrameArrivals.h"

#include <utility>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

void FrameArrivals::take(const ViewerPixelBuffer& pixels) {
    auto jpeg = ViewerJPEGEncoder::encode(pixels, ViewerJPEGEncoder::captureQuality);
    viewerCheck(jpeg.has_value(), "a picture of a desktop can be encoded");
    const auto frame = accumulator_.submit(*std::move(jpeg));
    viewerCheck(frame.has_value(), "a picture of a desktop is not too long");
    // From now on whoever asks is answered with it.
    const Clock::time_point now = Clock::now();
    const std::lock_guard guard(lock_);
    if (frame->sequence != label_) {
        label_ = frame->sequence;
        ++count_;
        last_ = now;
        changed_.notify_all();
    }
}

std::uint64_t FrameArrivals::count() const {
    const std::lock_guard guard(lock_);
    return count_;
}

FrameArrivals::Clock::time_point FrameArrivals::awaitMoreThan(std::uint64_t count) {
    constexpr std::chrono::seconds patience{30};
    std::unique_lock guard(lock_);
    const bool hasCome = changed_.wait_for(guard, patience, [&] { return count_ > count; });
    viewerCheck(hasCome, "what changes on the screen comes to a frame");
    return last_;
}

}  // namespace velmora::bench
