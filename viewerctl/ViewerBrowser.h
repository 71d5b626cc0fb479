#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <functional>
#include <string>

namespace velmora {

/// The desktop's browser, opened with a file. It goes on without this program, of which it inherits
/// nothing. On the loop's thread.
class ViewerBrowser final {
  public:
    explicit ViewerBrowser(boost::asio::io_context& loop);

    /// By the desktop's xdg-open(1). `whenFailed` is called where that cannot be started or fails.
    void open(std::string path, std::function<void()> whenFailed);

  private:
    void awaitEnd();

    boost::asio::signal_set ended_;
    pid_t opener_ = -1;
    std::function<void()> whenFailed_;
};

}  // namespace velmora
