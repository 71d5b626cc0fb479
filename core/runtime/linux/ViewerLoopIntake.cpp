#include "core/runtime/linux/ViewerLoopIntake.h"

#include <boost/asio/execution/context.hpp>
#include <boost/asio/query.hpp>

namespace velmora {

boost::asio::execution_context::id ViewerLoopIntake::id;

ViewerLoopIntake& ViewerLoopIntake::of(const ViewerExecutor& executor) {
    return boost::asio::use_service<ViewerLoopIntake>(
        boost::asio::query(executor, boost::asio::execution::context));
}

ViewerLoopIntake::ViewerLoopIntake(boost::asio::execution_context& loop) : service(loop) {}

}  // namespace velmora
