#include "viewerctl/ViewerBell.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

namespace velmora {

ViewerBell::ViewerBell(boost::asio::io_context& loop) : timer_(loop) {}

void ViewerBell::ring() {
    hasRung_ = true;
    timer_.cancel();
}

ViewerTask<bool> ViewerBell::wait(TimePoint deadline) {
    if (!hasRung_) {
        timer_.expires_at(deadline);
        boost::system::error_code cancelled;
        co_await timer_.async_wait(
            boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
    }
    co_return std::exchange(hasRung_, false);
}

}  // namespace velmora
