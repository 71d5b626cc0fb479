#include "core/runtime/mac/ViewerDispatchExecutors.h"

#include <string>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/mac/ViewerDispatchExecutor.h"

namespace velmora {

namespace {

dispatch_queue_t makeQueue(const std::string& label, qos_class_t qualityOfService) {
    return dispatch_queue_create(label.c_str(), dispatch_queue_attr_make_with_qos_class(
                                                    DISPATCH_QUEUE_SERIAL, qualityOfService, 0));
}

}  // namespace

dispatch_queue_t makeSerialQueue(std::string_view label) {
    return makeQueue(std::string(label), QOS_CLASS_USER_INITIATED);
}

dispatch_queue_t queueOf(const ViewerExecutor& executor) {
    const auto* const dispatch = executor.target<ViewerDispatchExecutor>();
    viewerCheck(dispatch != nullptr, "the platform runs on dispatch queues only");
    return dispatch->queue();
}

ViewerExecutor ViewerDispatchExecutors::mainExecutor() {
    return ViewerDispatchExecutor(dispatch_get_main_queue());
}

ViewerExecutor ViewerDispatchExecutors::taskExecutor() {
    return ViewerDispatchExecutor(
        makeQueue("com.quilmer.velmora.viewer-host.task", QOS_CLASS_DEFAULT));
}

ViewerExecutor ViewerDispatchExecutors::makeSerialExecutor(std::string_view label) {
    return ViewerDispatchExecutor(makeSerialQueue(label));
}

}  // namespace velmora
