#include <dispatch/dispatch.h>

#include <chrono>
#include <utility>

#include "tests/mac/frameworks/dispatch/DispatchObjects.h"

using velmora::DispatchWorld;

@interface FakeQueueAttributes : NSObject <OS_dispatch_queue_attr>
@property(nonatomic) qos_class_t qualityOfService;
@end

@implementation FakeQueueAttributes
@end

@implementation FakeDispatchQueue {
  @public
    DispatchWorld::QueuePointer _queue;
}
@end

namespace velmora {

DispatchWorld::QueuePointer worldQueue(dispatch_queue_t queue) {
    return static_cast<FakeDispatchQueue*>(queue)->_queue;
}

void postBlock(dispatch_queue_t queue, dispatch_block_t block) {
    DispatchWorld::shared().post(worldQueue(queue), [block] { block(); });
}

}  // namespace velmora

dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t /*attributes*/,
                                                              qos_class_t qosClass,
                                                              int /*relativePriority*/) {
    FakeQueueAttributes* const made = [[FakeQueueAttributes alloc] init];
    made.qualityOfService = qosClass;
    return made;
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes) {
    FakeDispatchQueue* const made = [[FakeDispatchQueue alloc] init];
    const auto* const given = static_cast<FakeQueueAttributes*>(attributes);
    made->_queue = DispatchWorld::shared().makeQueue(
        {.label = label != nullptr ? label : "", .qualityOfService = given.qualityOfService});
    return made;
}

dispatch_queue_t dispatch_get_main_queue() {
    static FakeDispatchQueue* const queue = [] {
        FakeDispatchQueue* const made = [[FakeDispatchQueue alloc] init];
        made->_queue = DispatchWorld::shared().mainQueue();
        return made;
    }();
    return queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
    DispatchWorld::shared().post(velmora::worldQueue(queue), [context, work] { work(context); });
}
