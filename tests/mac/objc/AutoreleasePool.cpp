#include "tests/mac/objc/AutoreleasePool.h"

#include "tests/mac/objc/ReferenceCounts.h"

namespace velmora::bridge {

AutoreleasePool::AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}

AutoreleasePool::~AutoreleasePool() {
    objc_autoreleasePoolPop(pool_);
}

}  // namespace velmora::bridge
