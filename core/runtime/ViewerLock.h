#pragma once

#include <mutex>

#include "core/runtime/ViewerThreadSafety.h"

namespace velmora {

/// A mutual-exclusion lock that clang's thread-safety analysis knows. It is held for reads and
/// swaps only: never across a wait, a platform call or a callback.
class VIEWER_CAPABILITY("mutex") ViewerLock final {
  public:
    ViewerLock() = default;
    ViewerLock(const ViewerLock&) = delete;
    ViewerLock& operator=(const ViewerLock&) = delete;

    void lock() VIEWER_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
    void unlock() VIEWER_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// Holds a `ViewerLock` for the scope it stands in.
class VIEWER_THREAD_ANNOTATION(scoped_lockable) ViewerLockGuard final {
  public:
    explicit ViewerLockGuard(ViewerLock& lock) VIEWER_THREAD_ANNOTATION(acquire_capability(lock))
        : lock_(lock) {
        lock_.lock();
    }
    ~ViewerLockGuard() VIEWER_THREAD_ANNOTATION(release_capability()) { lock_.unlock(); }
    ViewerLockGuard(const ViewerLockGuard&) = delete;
    ViewerLockGuard& operator=(const ViewerLockGuard&) = delete;

  private:
    ViewerLock& lock_;
};

}  // namespace velmora
