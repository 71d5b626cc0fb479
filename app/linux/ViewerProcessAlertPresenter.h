#pragma once

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <memory>

#include "app/ViewerAlertPresenter.h"
#include "app/linux/ViewerAlertProcess.h"

namespace velmora {

/// Shows each alert by a program in a process of its own. Made before anything connects to an X
/// server; main thread only.
class ViewerProcessAlertPresenter final : public ViewerAlertPresenter {
  public:
    /// `program` shows the alerts; `loop` is the main thread's.
    explicit ViewerProcessAlertPresenter(
        std::shared_ptr<boost::asio::io_context> loop,
        std::filesystem::path program = ViewerAlertProcess::program());
    ~ViewerProcessAlertPresenter() override;
    ViewerProcessAlertPresenter(const ViewerProcessAlertPresenter&) = delete;
    ViewerProcessAlertPresenter& operator=(const ViewerProcessAlertPresenter&) = delete;

    /// Where the alert cannot be shown the texts go to standard error if that is a terminal, and
    /// nobody is asked.
    void show(ViewerAlert alert, Completion completion) override;
    void close() override;
    /// Nothing: the host has no window, and an alert comes to the front by itself.
    void bringToFront() override;
    /// Nothing: there is no settings page to open.
    void openPage(std::string_view url) override;
    ViewerAlertWording wording() override;
    std::optional<std::string> languageCode() override;

    /// Runs `action` once no alert shows: at once, or behind the answer to the one that shows. One
    /// can wait; a later one takes its place.
    void whenClosed(std::function<void()> action);

  private:
    void end(bool isFirstButton);
    void tellTerminal(const ViewerAlert& alert) const;

    const std::shared_ptr<boost::asio::io_context> loop_;
    const std::filesystem::path program_;
    /// Standard error as it was at the start, if that is a terminal; else -1. The descriptor of
    /// that number leads nowhere while a connection to the X server is made.
    const int terminal_;
    /// Both are there while an alert shows.
    std::shared_ptr<ViewerAlertProcess> alert_;
    Completion completion_;
    /// What waits until it has closed.
    std::function<void()> afterwards_;
};

}  // namespace velmora
