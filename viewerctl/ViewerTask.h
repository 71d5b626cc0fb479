#pragma once

#include <boost/asio/awaitable.hpp>

namespace velmora {

/// An asynchronous operation of the operator's program, as a coroutine on its one loop.
template <typename T>
using ViewerTask = boost::asio::awaitable<T>;

}  // namespace velmora
