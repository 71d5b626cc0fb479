#pragma once

#include <sys/types.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "app/ViewerAlert.h"
#include "app/linux/ViewerAlertEnvironment.h"

namespace velmora {

/// The program that shows one alert, in a process of its own: a toolkit ends its process when the
/// display server dies, and the host has no use for one. It ends with this object, and with the
/// host. Made by the presenter, main thread only.
class ViewerAlertProcess final : public std::enable_shared_from_this<ViewerAlertProcess> {
  public:
    /// Receives the answer, or nothing when the alert could not be shown.
    using Completion = std::function<void(std::optional<bool> isFirstButton)>;

    /// The program that belongs to this one.
    static std::filesystem::path program();
    /// The one that belongs to `host`: beside it, or in the `libexec` folder of its installation.
    static std::filesystem::path programOf(const std::filesystem::path& host);

    /// Starts `program`, which gets the alert through a socket that nobody else can open, and
    /// `variables` in its environment. Nothing when it cannot be started.
    static std::shared_ptr<ViewerAlertProcess> start(
        boost::asio::io_context& loop, const std::filesystem::path& program,
        const ViewerAlert& alert, const ViewerAlertEnvironment::Variables& variables = {});
    ~ViewerAlertProcess();
    ViewerAlertProcess(const ViewerAlertProcess&) = delete;
    ViewerAlertProcess& operator=(const ViewerAlertProcess&) = delete;

    /// Runs `completion` in the loop when the program has ended, however that happened.
    void awaitEnd(Completion completion);

  private:
    ViewerAlertProcess(boost::asio::io_context& loop,
                       const ViewerAlertEnvironment::Variables& variables)
        : environment_(variables), end_(loop) {}

    bool send(const ViewerAlert& alert);
    bool spawn(const std::filesystem::path& program, int programsSide);
    /// Forgets a process that has ended; the answer that it ended with, if it did with one.
    std::optional<bool> reap();

    const ViewerAlertEnvironment environment_;
    /// Readable when the process has ended; open while there is one that was not waited for.
    boost::asio::posix::stream_descriptor end_;
    /// The host's side of the socket: closed, it tells the program that the host is gone.
    int channel_ = -1;
};

}  // namespace velmora
