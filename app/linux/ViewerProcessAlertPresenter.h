#pragma once

#include <boost/asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "app/ViewerAlertPresenter.h"
#include "app/linux/ViewerAlertProcess.h"

namespace velmora {

/// Shows each alert by a program in a process of its own. Made before anything connects to an X
/// server, and before the process has a second thread, since it takes something out of the
/// environment; main thread only.
class ViewerProcessAlertPresenter final : public ViewerAlertPresenter {
  public:
    /// Yields variables for the environment of the program that shows an alert.
    using Session = std::function<ViewerAlertEnvironment::Variables()>;

    /// `program` shows the alerts; `loop` is the main thread's.
    explicit ViewerProcessAlertPresenter(
        std::shared_ptr<boost::asio::io_context> loop,
        std::filesystem::path program = ViewerAlertProcess::program());
    ~ViewerProcessAlertPresenter() override;
    ViewerProcessAlertPresenter(const ViewerProcessAlertPresenter&) = delete;
    ViewerProcessAlertPresenter& operator=(const ViewerProcessAlertPresenter&) = delete;

    /// The session that the alerts are shown in; until then it is that of the environment.
    void showIn(Session session) { session_ = std::move(session); }

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
    /// What the desktop gave to the host whose user has just started it, so that a window may come
    /// to the front: good for one, and no business of anybody else's.
    ViewerAlertEnvironment::Variables activation_;
    Session session_;
    /// Both are there while an alert shows.
    std::shared_ptr<ViewerAlertProcess> alert_;
    Completion completion_;
    /// What waits until it has closed.
    std::function<void()> afterwards_;
};

}  // namespace velmora
