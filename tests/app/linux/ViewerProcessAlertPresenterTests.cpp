#include "app/linux/ViewerProcessAlertPresenter.h"

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
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

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

/// In a graphical session, and with a program that does what the alerts say.
class ViewerProcessAlertPresenterTest : public testing::Test {
  protected:
    ViewerProcessAlertPresenterTest() { environment_.set("DISPLAY", ":7"); }

    /// Behind what is ready in the loop now.
    void later(std::function<void()> action) { boost::asio::post(*loop_, std::move(action)); }
    void log(const std::string& event) { events_.push_back(event); }
    void logAnswer(bool isFirstButton) { log(isFirstButton ? "first" : "not first"); }

    BorrowedEnvironment environment_;
    const std::shared_ptr<boost::asio::io_context> loop_ =
        std::make_shared<boost::asio::io_context>();
    ViewerProcessAlertPresenter alerts_{loop_, SCRIPTED_ALERT_PATH};
    std::vector<std::string> events_;
};

TEST_F(ViewerProcessAlertPresenterTest, AlertsAreAnsweredByTheirProgramOneAfterTheOther) {
    alerts_.show(alert("exit", "10"), [&](bool isFirstButton) {
        logAnswer(isFirstButton);
        alerts_.show(alert("exit", "11"), [&](bool isSecondsFirst) { logAnswer(isSecondsFirst); });
    });
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("first", "not first"));
}

TEST_F(ViewerProcessAlertPresenterTest, WhatWaitsForAnAlertRunsOnceBehindItsAnswer) {
    alerts_.show(alert("exit", "10"), [&](bool isFirstButton) { logAnswer(isFirstButton); });
    alerts_.whenClosed([&] { log("closed"); });
    alerts_.whenClosed([&] { log("closed"); });
    log("quit");
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("quit", "first", "closed"));
}

TEST_F(ViewerProcessAlertPresenterTest, WhatWaitsForAnAlertWaitsForTheNextThatTheAnswerShows) {
    alerts_.show(alert("exit", "10"), [&](bool isFirstButton) {
        logAnswer(isFirstButton);
        alerts_.show(alert("exit", "11"), [&](bool isSecondsFirst) { logAnswer(isSecondsFirst); });
    });
    alerts_.whenClosed([&] { log("closed"); });
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("first", "not first", "closed"));
}

TEST_F(ViewerProcessAlertPresenterTest, WithoutAnAlertNothingWaits) {
    alerts_.whenClosed([&] { log("closed"); });

    EXPECT_THAT(events_, ElementsAre("closed"));
}

TEST_F(ViewerProcessAlertPresenterTest, AnAlertIsClosedAtOnce) {
    alerts_.show(alert("hang", "/dev/null"), [&](bool isFirstButton) { logAnswer(isFirstButton); });
    later([&] {
        alerts_.close();
        log("closed");
        alerts_.close();
    });
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("not first", "closed"));
}

TEST_F(ViewerProcessAlertPresenterTest, AnAlertWhoseProgramIsMissingIsNotTheFirstButton) {
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, "/nonexistent/program");
    std::optional<bool> answer;
    alerts.show(alert("exit", "10"), [&](bool isFirstButton) { answer = isFirstButton; });

    EXPECT_EQ(answer, false);
    EXPECT_EQ(terminal.read(), "exit\r\n10\r\n");
}

TEST_F(ViewerProcessAlertPresenterTest, AnAlertWhoseProgramEndsWithoutAnAnswerGoesToTheTerminal) {
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);
    for (const auto& [what, detail] :
         {std::pair("exit", "0"), std::pair("exit", "1"), std::pair("signal", "9")}) {
        alerts.show(alert(what, detail), [&](bool isFirstButton) { logAnswer(isFirstButton); });
        loop_->restart();
        loop_->run();
        EXPECT_EQ(terminal.read(), std::string(what) + "\r\n" + detail + "\r\n");
    }

    EXPECT_THAT(events_, ElementsAre("not first", "not first", "not first"));
}

TEST_F(ViewerProcessAlertPresenterTest, TheTerminalIsTheOneOfTheStart) {
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, "/nonexistent/program");
    const StandardError pipe(StandardError::Kind::pipe);
    alerts.show(alert("Title", "What went wrong."), [&](bool isFirst) { logAnswer(isFirst); });

    EXPECT_THAT(events_, ElementsAre("not first"));
    EXPECT_EQ(terminal.read(), "Title\r\nWhat went wrong.\r\n");
    EXPECT_EQ(pipe.read(), "");
}

TEST_F(ViewerProcessAlertPresenterTest, LetsGoOfTheTerminal) {
    const StandardError terminal(StandardError::Kind::terminal);
    const auto descriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = descriptors();
    std::make_unique<ViewerProcessAlertPresenter>(loop_, SCRIPTED_ALERT_PATH).reset();

    EXPECT_EQ(descriptors(), before);
}

TEST_F(ViewerProcessAlertPresenterTest, AnAlertThatIsClosedWritesNothingToTheTerminal) {
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);
    alerts.show(alert("hang", "/dev/null"), [&](bool isFirstButton) { logAnswer(isFirstButton); });
    alerts.close();
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("not first"));
    EXPECT_EQ(terminal.read(), "");
}

TEST_F(ViewerProcessAlertPresenterTest,
       WithoutAGraphicalSessionGoesToTheTerminalOnceAndAsksNobody) {
    environment_.set("DISPLAY", std::nullopt);
    environment_.set("WAYLAND_DISPLAY", std::nullopt);
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);
    std::optional<bool> answer;
    alerts.show(alert("Title", "What went wrong."), [&](bool isFirst) { answer = isFirst; });

    EXPECT_EQ(answer, false);
    EXPECT_EQ(terminal.read(), "Title\r\nWhat went wrong.\r\n");
}

TEST_F(ViewerProcessAlertPresenterTest, WithoutAGraphicalSessionAndATerminalGoesNowhere) {
    environment_.set("DISPLAY", std::nullopt);
    environment_.set("WAYLAND_DISPLAY", std::nullopt);
    const StandardError pipe(StandardError::Kind::pipe);
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);
    std::optional<bool> answer;
    alerts.show(alert("Title", "What went wrong."), [&](bool isFirst) { answer = isFirst; });
    EXPECT_EQ(answer, false);
    answer.reset();
    environment_.set("DISPLAY", ":7");
    alerts.show(alert("exit", "1"), [&](bool isFirst) { answer = isFirst; });
    loop_->run();

    EXPECT_EQ(answer, false);
    EXPECT_EQ(pipe.read(), "");
}

TEST_F(ViewerProcessAlertPresenterTest, InAGraphicalSessionWritesNothingToTheTerminal) {
    const StandardError terminal(StandardError::Kind::terminal);
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);
    alerts.show(alert("exit", "11"), [&](bool isFirstButton) { logAnswer(isFirstButton); });
    loop_->run();

    EXPECT_THAT(events_, ElementsAre("not first"));
    EXPECT_EQ(terminal.read(), "");
}

/// The environment of an alert program that reports it.
std::vector<std::string> environmentOf(ViewerProcessAlertPresenter& alerts,
                                       boost::asio::io_context& loop) {
    const TemporaryFolder folder;
    const auto report = folder.path() / "report";
    alerts.show(alert("environment", report), [](bool isFirst) { EXPECT_TRUE(isFirst); });
    loop.restart();
    loop.run();
    std::vector<std::string> lines;
    std::ifstream in(report);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(ViewerProcessAlertPresenterTest, TheDesktopsTokenIsForTheFirstAlertAlone) {
    environment_.set("XDG_ACTIVATION_TOKEN", "token-1");
    environment_.set("DESKTOP_STARTUP_ID", "token-2");
    ViewerProcessAlertPresenter alerts(loop_, SCRIPTED_ALERT_PATH);

    EXPECT_EQ(::getenv("XDG_ACTIVATION_TOKEN"), nullptr);  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(::getenv("DESKTOP_STARTUP_ID"), nullptr);    // NOLINT(concurrency-mt-unsafe)
    EXPECT_THAT(environmentOf(alerts, *loop_),
                IsSupersetOf({"XDG_ACTIVATION_TOKEN=token-1", "DESKTOP_STARTUP_ID=token-2"}));
    EXPECT_THAT(environmentOf(alerts, *loop_), Each(Not(HasSubstr("token-"))));
}

TEST_F(ViewerProcessAlertPresenterTest, AnAlertIsShownInTheSessionAsItIsByThen) {
    environment_.set("WAYLAND_DISPLAY", "wayland-0");
    std::string display = "wayland-1";
    alerts_.showIn([&] { return std::vector<std::string>{"WAYLAND_DISPLAY=" + display}; });
    EXPECT_THAT(environmentOf(alerts_, *loop_), Contains("WAYLAND_DISPLAY=wayland-1"));
    display = "";
    EXPECT_THAT(environmentOf(alerts_, *loop_),
                AllOf(Contains("WAYLAND_DISPLAY="), Not(Contains("WAYLAND_DISPLAY=wayland-0"))));
}

TEST_F(ViewerProcessAlertPresenterTest, ASessionThatWasFoundIsAGraphicalOne) {
    environment_.set("DISPLAY", std::nullopt);
    environment_.set("WAYLAND_DISPLAY", std::nullopt);
    alerts_.showIn([] { return std::vector<std::string>{"WAYLAND_DISPLAY=wayland-1"}; });
    EXPECT_THAT(environmentOf(alerts_, *loop_), Contains("WAYLAND_DISPLAY=wayland-1"));
}

TEST_F(ViewerProcessAlertPresenterTest, SpeaksAsTheEnvironmentSaysAndOfNoMac) {
    environment_.set("LC_ALL", "ru_RU.UTF-8");
    EXPECT_EQ(alerts_.languageCode(), "ru");
    environment_.set("XDG_CURRENT_DESKTOP", std::nullopt);
    EXPECT_EQ(alerts_.wording(), ViewerAlertWording::linuxDesktop);
    environment_.set("XDG_CURRENT_DESKTOP", "GNOME");
    EXPECT_EQ(alerts_.wording(), ViewerAlertWording::gnome);
}

}  // namespace

}  // namespace velmora
