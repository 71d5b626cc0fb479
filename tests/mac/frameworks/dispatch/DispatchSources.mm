#include "tests/mac/frameworks/dispatch/DispatchSources.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

#include "tests/mac/frameworks/dispatch/DispatchObjects.h"

using velmora::DispatchWorld;

struct dispatch_source_type_s {
    int unused;
};
const dispatch_source_type_s _dispatch_source_type_signal{};
const dispatch_source_type_s _dispatch_source_type_timer{};

namespace {

/// Tells a time of the wall clock from one of the clock that stops during sleep.
constexpr dispatch_time_t wallMark = std::uint64_t(1) << 63;

std::atomic<std::size_t> droppedSuspended{0};

}  // namespace

@interface FakeDispatchSource : NSObject <OS_dispatch_source>
@end

@implementation FakeDispatchSource {
  @public
    dispatch_source_type_t _type;
    std::uintptr_t _handle;
    dispatch_queue_t _queue;
    dispatch_block_t _handler;
    DispatchWorld::TimerId _timer;
    std::atomic<bool> _isResumed;
    std::atomic<bool> _isCancelled;
}
- (void)dealloc {
    droppedSuspended += _isResumed ? 0 : 1;
    DispatchWorld::shared().withdraw(_timer);
}
- (void)fire {
    if (_isResumed && !_isCancelled) {
        _handler();
    }
}
- (DispatchWorld::Work)firing {
    __weak FakeDispatchSource* const weak = self;
    return [weak] { [weak fire]; };
}
- (void)setTimer:(dispatch_time_t)start {
    DispatchWorld& world = DispatchWorld::shared();
    world.withdraw(_timer);
    if (start == DISPATCH_TIME_FOREVER) {
        return;
    }
    const bool isWall = (start & wallMark) != 0;
    _timer = world.schedule(isWall ? DispatchWorld::Clock::wall : DispatchWorld::Clock::awake,
                            DispatchWorld::Duration(start & ~wallMark), velmora::worldQueue(_queue),
                            [self firing]);
}
- (void)cancel {
    _isCancelled = true;
    DispatchWorld::shared().withdraw(_timer);
    // A handler that is running ends first.
    velmora::postBlock(_queue, ^{
      self->_handler = nil;
    });
}
@end

namespace velmora {

namespace {

struct WeakSource {
    __weak FakeDispatchSource* source;
};

/// Every source for signals that was made; the main thread's.
std::vector<WeakSource>& signalSources() {
    static auto& sources = *new std::vector<WeakSource>();
    return sources;
}

bool isWatching(FakeDispatchSource* source, int signal) {
    return source != nil && source->_handle == static_cast<std::uintptr_t>(signal) &&
           source->_isResumed && !source->_isCancelled;
}

}  // namespace

void FakeDispatchSources::raise(int signal) {
    for (const WeakSource& weak : signalSources()) {
        FakeDispatchSource* const source = weak.source;
        if (isWatching(source, signal)) {
            DispatchWorld::shared().post(worldQueue(source->_queue), [source firing]);
        }
    }
}

std::size_t FakeDispatchSources::watching(int signal) {
    return static_cast<std::size_t>(std::ranges::count_if(
        signalSources(),
        [signal](const WeakSource& weak) { return isWatching(weak.source, signal); }));
}

std::size_t FakeDispatchSources::droppedWhileSuspended() {
    return droppedSuspended;
}

}  // namespace velmora

dispatch_time_t dispatch_time(dispatch_time_t /*when*/, std::int64_t nanoseconds) {
    const auto now = DispatchWorld::shared().now(DispatchWorld::Clock::awake);
    return static_cast<dispatch_time_t>(now.count() + nanoseconds);
}

dispatch_time_t dispatch_walltime(const timespec* /*when*/, std::int64_t nanoseconds) {
    const auto now = DispatchWorld::shared().now(DispatchWorld::Clock::wall);
    return static_cast<dispatch_time_t>(now.count() + nanoseconds) | wallMark;
}

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle,
                                         std::uintptr_t /*mask*/, dispatch_queue_t queue) {
    FakeDispatchSource* const made = [[FakeDispatchSource alloc] init];
    made->_type = type;
    made->_handle = handle;
    made->_queue = queue;
    if (type == DISPATCH_SOURCE_TYPE_SIGNAL) {
        velmora::signalSources().push_back({made});
    }
    return made;
}

void dispatch_source_set_event_handler(dispatch_source_t source, dispatch_block_t handler) {
    static_cast<FakeDispatchSource*>(source)->_handler = handler;
}

void dispatch_source_set_timer(dispatch_source_t source, dispatch_time_t start,
                               std::uint64_t /*interval*/, std::uint64_t /*leeway*/) {
    [static_cast<FakeDispatchSource*>(source) setTimer:start];
}

void dispatch_source_cancel(dispatch_source_t source) {
    [static_cast<FakeDispatchSource*>(source) cancel];
}

void dispatch_resume(dispatch_source_t source) {
    static_cast<FakeDispatchSource*>(source)->_isResumed = true;
}
