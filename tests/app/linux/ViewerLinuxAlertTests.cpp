#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/linux/ViewerLinuxApplicationShell.h"
#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

namespace {

using testing::ElementsAre;

/// A delegate that agrees to terminate whenever it is asked.
class AgreeingDelegate final : public ViewerApplicationDelegate {
  public:
    void applicationDidFinishLaunching() override { onLaunch(); }
    ViewerTerminateReply applicationShouldTerminate() override {
        events.emplace_back("asked");
        return ViewerTerminateReply::now;
    }

    std::function<void()> onLaunch;
    std::vector<std::string> events;
};

/// What the process writes to standard error meanwhile, which is a terminal or a pipe.
class StandardError final {
  public:
    enum class Kind { terminal, pipe };

    explicit StandardError(Kind kind) : before_(::dup(STDERR_FILENO)) {
        std::array<int, 2> ends{-1, -1};
        if (kind == Kind::pipe) {
            EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        } else {
            ends[0] = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
            std::array<char, 64> name{};
            EXPECT_EQ(::grantpt(ends[0]) + ::unlockpt(ends[0]), 0);
            EXPECT_EQ(::ptsname_r(ends[0], name.data(), name.size()), 0);
            ends[1] = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        }
        reader_ = ends[0];
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[1]);
    }
    ~StandardError() {
        ::dup2(before_, STDERR_FILENO);
        ::close(before_);
        ::close(reader_);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    /// What is there now.
    std::string read() const {
        std::string text;
        pollfd ready{reader_, POLLIN, 0};
        std::array<char, 4096> bytes;
        while (::poll(&ready, 1, 0) == 1 && (ready.revents & POLLIN) != 0) {
            const ssize_t count = ::read(reader_, bytes.data(), bytes.size());
            text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return text;
    }

  private:
    const int before_;
    int reader_ = -1;
};

ViewerAlert alert(const std::string& title, const std::string& text) {
    return {ViewerAlertStyle::critical, title, text, {"OK"}};
}

/// A shell in a graphical session, whose alerts are shown by a program that does what they say.
class ViewerLinuxAlert : public testing::Test {
  protected:
    ViewerLinuxAlert() { environment_.set("DISPLAY", ":7"); }

    /// Runs the application, whose launch does `action`.
    void launch(std::function<void()> action) {
        delegate_->onLaunch = std::move(action);
        EXPECT_EQ(shell_.run(delegate_), 0);
    }
    /// Behind what is ready in the loop now.
    void later(std::function<void()> action) { boost::asio::post(*loop_, std::move(action)); }
    void log(const std::string& event) { delegate_->events.push_back(event); }
    void logAnswer(bool isFirstButton) { log(isFirstButton ? "first" : "not first"); }

    BorrowedEnvironment environment_;
    const std::shared_ptr<boost::asio::io_context> loop_ =
        std::make_shared<boost::asio::io_context>();
    ViewerLinuxApplicationShell shell_{loop_, SCRIPTED_ALERT_PATH};
    std::shared_ptr<AgreeingDelegate> delegate_ = std::make_shared<AgreeingDelegate>();
};

TEST_F(ViewerLinuxAlert, IsAnsweredByItsProgramOneAfterTheOther) {
    launch([&] {
        shell_.showAlert(alert("exit", "10"), [&](bool isFirstButton) {
            logAnswer(isFirstButton);
            shell_.showAlert(alert("exit", "1"), [&](bool isSecondsFirst) {
                logAnswer(isSecondsFirst);
                shell_.terminate();
            });
        });
    });

    EXPECT_THAT(delegate_->events, ElementsAre("first", "not first", "asked"));
}

TEST_F(ViewerLinuxAlert, PutsAQuitOffUntilItHasClosed) {
    launch([&] {
        shell_.showAlert(alert("exit", "10"),
                         [&](bool isFirstButton) { logAnswer(isFirstButton); });
        shell_.terminate();
        shell_.terminate();
        log("quit");
    });

    EXPECT_THAT(delegate_->events, ElementsAre("quit", "first", "asked"));
}

TEST_F(ViewerLinuxAlert, IsClosedAtOnce) {
    launch([&] {
        shell_.showAlert(alert("hang", "/dev/null"),
                         [&](bool isFirstButton) { logAnswer(isFirstButton); });
        later([&] {
            shell_.closeAlert();
            log("closed");
            shell_.closeAlert();
            shell_.terminate();
        });
    });

    EXPECT_THAT(delegate_->events, ElementsAre("not first", "closed", "asked"));
}

TEST_F(ViewerLinuxAlert, WhoseProgramIsMissingIsNotTheFirstButton) {
    ViewerLinuxApplicationShell shell(loop_, "/nonexistent/program");
    std::optional<bool> answer;
    shell.showAlert(alert("exit", "10"), [&](bool isFirstButton) { answer = isFirstButton; });

    EXPECT_EQ(answer, false);
}

TEST_F(ViewerLinuxAlert, WithoutAGraphicalSessionGoesToTheTerminalOnceAndAsksNobody) {
    environment_.set("DISPLAY", std::nullopt);
    environment_.set("WAYLAND_DISPLAY", std::nullopt);
    const StandardError terminal(StandardError::Kind::terminal);
    std::optional<bool> answer;
    shell_.showAlert(alert("Title", "What went wrong."), [&](bool isFirst) { answer = isFirst; });

    EXPECT_EQ(answer, false);
    EXPECT_EQ(terminal.read(), "Title\r\nWhat went wrong.\r\n");
}

TEST_F(ViewerLinuxAlert, WithoutAGraphicalSessionAndATerminalGoesNowhere) {
    environment_.set("DISPLAY", std::nullopt);
    environment_.set("WAYLAND_DISPLAY", std::nullopt);
    const StandardError pipe(StandardError::Kind::pipe);
    std::optional<bool> answer;
    shell_.showAlert(alert("Title", "What went wrong."), [&](bool isFirst) { answer = isFirst; });

    EXPECT_EQ(answer, false);
    EXPECT_EQ(pipe.read(), "");
}

TEST_F(ViewerLinuxAlert, InAGraphicalSessionWritesNothingToTheTerminal) {
    const StandardError terminal(StandardError::Kind::terminal);
    launch([&] { shell_.showAlert(alert("exit", "1"), [&](bool) { shell_.terminate(); }); });

    EXPECT_EQ(terminal.read(), "");
}

TEST_F(ViewerLinuxAlert, SpeaksAsTheEnvironmentSaysAndOfNoMac) {
    environment_.set("LC_ALL", "ru_RU.UTF-8");
    EXPECT_EQ(shell_.languageCode(), "ru");
    EXPECT_EQ(shell_.alertWording(), ViewerAlertWording::linuxDesktop);
}

}  // namespace

}  // namespace velmora
