#include "viewerctl/ViewerTerminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace velmora {

namespace asio = boost::asio;

namespace {

int openTerminal() {
    constexpr int flags = O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
    std::array<char, 256> name{};
    int descriptor = -1;
    if (::ttyname_r(STDOUT_FILENO, name.data(), name.size()) == 0) {
        descriptor = ::open(name.data(), flags);
    }
    if (descriptor < 0) {
        // After a change of the user it may belong to another one, who has opened it for this one.
        descriptor = ::open("/dev/tty", flags);
    }
    if (descriptor < 0) {
        throw std::system_error(errno, std::system_category());
    }
    return descriptor;
}

}  // namespace

ViewerTerminal::ViewerTerminal(asio::io_context& loop)
    : input_(loop, openTerminal()),
      output_(loop, input_.native_handle()),
      mode_(input_.native_handle()) {
    mode_.enter();
}

ViewerTask<bool> ViewerTerminal::send(std::shared_ptr<const std::string> bytes) {
    if (!mode_.isEntered()) {
        co_return true;
    }
    co_return co_await output_.send(std::move(bytes));
}

ViewerTask<std::string> ViewerTerminal::read() {
    std::array<char, 256> bytes{};
    boost::system::error_code error;
    const asio::mutable_buffer buffer = asio::buffer(bytes);
    const std::size_t length =
        co_await input_.async_read_some(buffer, asio::redirect_error(asio::use_awaitable, error));
    co_return std::string(bytes.data(), error ? 0 : length);
}

void ViewerTerminal::interrupt() {
    input_.cancel();
    output_.cancel();
}

void ViewerTerminal::suspend() {
    output_.cancel();
    mode_.leave();
    (void)std::raise(SIGTSTP);  // as it is, it stops the program, unless nobody could wake it
    mode_.enter();
}

}  // namespace velmora
