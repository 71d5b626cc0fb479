#pragma once

#include <mutex>

#if defined(__clang__)
#define VIEWER_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define VIEWER_THREAD_ANNOTATION(x)
#endif

/// The field may be touched only while the named lock is held.
#define VIEWER_GUARDED_BY(lock) VIEWER_THREAD_ANNOTATION(guarded_by(lock))
/// The operation may be called only while the named lock is held.
#define VIEWER_REQUIRES(lock) VIEWER_THREAD_ANNOTATION(requires_capability(lock))
/// The operation may be called only while the named lock is not held.
#define VIEWER_EXCLUDES(lock) VIEWER_THREAD_ANNOTATION(locks_excluded(lock))

namespace velmora {

/// A mutual-exclusion lock that clang's thread-safety analysis knows. It is held for reads and
/// swaps only: never across a wait, a platform call or a callback.
class VIEWER_THREAD_ANNOTATION(capability("mutex")) ViewerLock final {
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
