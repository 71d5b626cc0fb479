#include "viewerctl/ViewerEvent.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/error_code.hpp>

namespace velmora {

ViewerEvent::ViewerEvent(boost::asio::io_context& loop) : timer_(loop, TimePoint::max()) {}

void ViewerEvent::set() {
    isSet_ = true;
    timer_.cancel();
}

ViewerTask<bool> ViewerEvent::wait(TimePoint deadline) {
    if (!isSet_) {
        if (deadline != TimePoint::max()) {
            timer_.expires_at(deadline);  // which would end the waits of others
        }
        boost::system::error_code cancelled;
        co_await timer_.async_wait(
            boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
    }
    co_return isSet_;
}

}  // namespace velmora
