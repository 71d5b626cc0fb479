#include "tests/doubles/bridge/AutoreleasePool.h"

#include "tests/doubles/bridge/ReferenceCounts.h"

namespace velmora::bridge {

AutoreleasePool::AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}

AutoreleasePool::~AutoreleasePool() {
    objc_autoreleasePoolPop(pool_);
}

}  // namespace velmora::bridge
