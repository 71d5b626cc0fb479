#pragma once

#include <boost/asio/awaitable.hpp>

#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// An asynchronous operation that yields a T. It starts when it is awaited and goes on, after every
/// wait, on the executor of the task that awaits it. Coroutines of this type take their parameters
/// by value and never throw.
template <typename T>
using ViewerTask = boost::asio::awaitable<T, ViewerExecutor>;

}  // namespace velmora
