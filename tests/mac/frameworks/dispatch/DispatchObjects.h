#pragma once

#include <dispatch/dispatch.h>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"

/// A queue of the world's.
@interface FakeDispatchQueue : NSObject <OS_dispatch_queue>
@end

namespace velmora {

/// The world's queue behind Dispatch's; the main one for nil.
DispatchWorld::QueuePointer worldQueue(dispatch_queue_t _Nullable queue);

/// Runs a block on a queue of Dispatch's.
void postBlock(dispatch_queue_t _Nullable queue, dispatch_block_t _Nonnull block);

}  // namespace velmora
