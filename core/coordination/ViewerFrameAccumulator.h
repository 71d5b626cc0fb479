#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/protocol/ViewerBytes.h"
#include "core/protocol/ViewerHostFrame.h"
#include "core/runtime/ViewerLock.h"

namespace velmora {

/// The newest frame of one capture session, and the numbering of its frames. Shared by the session
/// and whoever receives the platform's frames; any thread.
class ViewerFrameAccumulator final {
  public:
    /// Tells apart what was captured before and after a `clear()`.
    using Epoch = std::uint64_t;

    /// A frame's label is the prefix, "-" and the frame's number, counted from 1.
    explicit ViewerFrameAccumulator(std::string sequencePrefix);
    ViewerFrameAccumulator(const ViewerFrameAccumulator&) = delete;
    ViewerFrameAccumulator& operator=(const ViewerFrameAccumulator&) = delete;

    /// A prefix for a new session: 32 hexadecimal digits that stay the same for the life of the
    /// process, "-", and 32 that are the session's own.
    static std::string makeSequencePrefix();

    /// Takes one encoded image and returns the frame that is now current: a new one, or the one
    /// before when its bytes are the same. Nothing when the image is empty or longer than a frame
    /// may be.
    std::optional<ViewerHostFrame> submit(ViewerBytes jpeg);
    /// The same for a receiver that may still be at work when its stream is given up: nothing, and
    /// nothing changes, once `clear()` has been called since it read its epoch.
    std::optional<ViewerHostFrame> submit(ViewerBytes jpeg, Epoch epoch);

    std::optional<ViewerHostFrame> latest() const;
    /// Forgets the newest frame and begins a new epoch. Numbers are never used twice.
    void clear();
    Epoch epoch() const;

  private:
    ViewerHostFrame publish(ViewerBytes jpeg) VIEWER_REQUIRES(lock_);

    const std::string sequencePrefix_;
    mutable ViewerLock lock_;
    /// Frames published so far.
    std::uint64_t counter_ VIEWER_GUARDED_BY(lock_) = 0;
    std::optional<ViewerHostFrame> latest_ VIEWER_GUARDED_BY(lock_);
    Epoch epoch_ VIEWER_GUARDED_BY(lock_) = 0;
};

}  // namespace velmora
