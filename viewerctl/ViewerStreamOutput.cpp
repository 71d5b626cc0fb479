#include "viewerctl/ViewerStreamOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>

namespace velmora {

namespace asio = boost::asio;

ViewerStreamOutput::ViewerStreamOutput(asio::io_context& loop, int descriptor)
    : mode_(::fcntl(descriptor, F_GETFL)),
      descriptor_(loop, ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0)) {}

ViewerStreamOutput::~ViewerStreamOutput() {
    (void)::fcntl(descriptor_.native_handle(), F_SETFL, mode_);  // nobody can help it
}

ViewerTask<bool> ViewerStreamOutput::send(std::shared_ptr<const std::string> bytes) {
    boost::system::error_code error;
    const asio::const_buffer buffer = asio::buffer(*bytes);
    co_await asio::async_write(descriptor_, buffer,
                               asio::redirect_error(asio::use_awaitable, error));
    co_return !error;
}

void ViewerStreamOutput::cancel() {
    descriptor_.cancel();
}

}  // namespace velmora
