#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>

#include "app/ViewerApplicationShell.h"
#include "app/linux/ViewerProcessAlertPresenter.h"

namespace velmora {

/// The shell on Linux: runs the main thread's loop. Main thread only.
class ViewerLinuxApplicationShell final
    : public ViewerApplicationShell,
      public std::enable_shared_from_this<ViewerLinuxApplicationShell> {
  public:
    ViewerLinuxApplicationShell(std::shared_ptr<boost::asio::io_context> loop,
                                std::shared_ptr<ViewerProcessAlertPresenter> alerts);

    void ignoreSignal(int signal) override;
    std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                         std::function<void()> handler) override;
    int run(std::shared_ptr<ViewerApplicationDelegate> delegate) override;
    void terminate() override;
    [[noreturn]] void exit(int status) override;
    std::optional<std::string> machineName() override;
    void printLine(std::string_view line) override;

  private:
    void askDelegate();

    const std::shared_ptr<boost::asio::io_context> loop_;
    const std::shared_ptr<ViewerProcessAlertPresenter> alerts_;
    std::shared_ptr<ViewerApplicationDelegate> delegate_;
};

}  // namespace velmora
