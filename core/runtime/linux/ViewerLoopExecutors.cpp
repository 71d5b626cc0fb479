#include "core/runtime/linux/ViewerLoopExecutors.h"

#include <utility>

namespace velmora {

ViewerLoopExecutors::ViewerLoopExecutors(ViewerExecutor loop) : loop_(std::move(loop)) {}

ViewerExecutor ViewerLoopExecutors::mainExecutor() {
    return loop_;
}

ViewerExecutor ViewerLoopExecutors::taskExecutor() {
    return loop_;
}

ViewerExecutor ViewerLoopExecutors::makeSerialExecutor(std::string_view) {
    return loop_;
}

}  // namespace velmora
