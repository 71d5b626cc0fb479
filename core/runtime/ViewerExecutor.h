#pragma once

#include <boost/asio/any_io_executor.hpp>

namespace velmora {

/// Where a task or a callback runs. Every executor that the product is given runs one function at a
/// time (a serial queue); two equal executors are the same queue.
using ViewerExecutor = boost::asio::any_io_executor;

}  // namespace velmora
