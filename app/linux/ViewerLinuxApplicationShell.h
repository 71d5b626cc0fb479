#pragma once

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <memory>

#include "app/ViewerApplicationShell.h"
#include "app/linux/ViewerAlertProcess.h"

namespace velmora {

/// The shell on Linux: runs the main thread's loop. Main thread only.
class ViewerLinuxApplicationShell final : public ViewerApplicationShell {
  public:
    /// `alertProgram` shows the alerts.
    explicit ViewerLinuxApplicationShell(
        std::shared_ptr<boost::asio::io_context> loop,
        std::filesystem::path alertProgram = ViewerAlertProcess::program());

    void ignoreSignal(int signal) override;
    std::shared_ptr<ViewerSignalSource> makeSignalSource(int signal,
                                                         std::function<void()> handler) override;
    int run(std::shared_ptr<ViewerApplicationDelegate> delegate) override;
    void terminate() override;
    [[noreturn]] void exit(int status) override;
    /// Nothing: the host has no window, and an alert comes to the front by itself.
    void bringToFront() override;
    /// Without a graphical session the texts go to standard error if that is a terminal, and nobody
    /// is asked.
    void showAlert(ViewerAlert alert, AlertCompletion completion) override;
    void closeAlert() override;
    /// Nothing: there is no settings page to open.
    void openURL(std::string_view url) override;
    ViewerAlertWording alertWording() override;
    std::optional<std::string> languageCode() override;
    std::optional<std::string> machineName() override;
    void printLine(std::string_view line) override;

  private:
    void endAlert(bool isFirstButton);

    const std::shared_ptr<boost::asio::io_context> loop_;
    const std::filesystem::path alertProgram_;
    std::shared_ptr<ViewerApplicationDelegate> delegate_;
    /// Both are there while an alert shows.
    std::shared_ptr<ViewerAlertProcess> alert_;
    AlertCompletion alertCompletion_;
    /// Whether the application is to be terminated once the alert has closed.
    bool isTerminationPending_ = false;
};

}  // namespace velmora
