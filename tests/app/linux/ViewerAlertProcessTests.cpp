#include "app/linux/ViewerAlertProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/runtime/linux/ViewerDescriptorLimit.h"
#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr auto generous = 20s;

using Answer = std::optional<bool>;
constexpr std::optional<Answer> notShown{std::in_place};

std::vector<std::string> linesOf(const std::filesystem::path& file) {
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A loop, and a program in place of the one with the window.
class ViewerAlertProcessTest : public testing::Test {
  protected:
    std::shared_ptr<ViewerAlertProcess> start(const std::string& what, const std::string& detail) {
        const ViewerAlert alert(ViewerAlertStyle::warning, what, detail, {"OK"});
        return ViewerAlertProcess::start(loop_, SCRIPTED_ALERT_PATH, alert);
    }

    /// What a program that ends by itself answers; nothing when it does not end.
    std::optional<Answer> answer(const std::string& what, const std::string& detail) {
        const auto process = start(what, detail);
        std::optional<Answer> answer;
        if (process) {
            process->awaitEnd([&](Answer given) { answer = given; });
            loop_.restart();
            loop_.run_for(generous);
        }
        return answer;
    }

    /// Starts a program that ends for nothing but SIGKILL; its process when it is that far.
    std::shared_ptr<ViewerAlertProcess> startHanging(pid_t& id) {
        const auto file = folder_.path() / "hanging";
        auto process = start("hang", file);
        const auto end = std::chrono::steady_clock::now() + generous;
        while (linesOf(file).empty() && std::chrono::steady_clock::now() < end) {
            ::poll(nullptr, 0, 1);
        }
        id = linesOf(file).empty() ? 0 : std::stoi(linesOf(file).front());
        return process;
    }

    boost::asio::io_context loop_{1};
    TemporaryFolder folder_;
};

TEST_F(ViewerAlertProcessTest, EachAnswerHasAStatusOfItsOwn) {
    EXPECT_EQ(answer("exit", "10"), Answer(true));
    EXPECT_EQ(answer("exit", "11"), Answer(false));
    for (const char* const status : {"0", "1", "2", "9", "12", "127", "255"}) {
        EXPECT_EQ(answer("exit", status), notShown) << status;
    }
}

TEST_F(ViewerAlertProcessTest, AProgramThatIsKilledOrCrashesHasNoAnswer) {
    for (const int signal : {SIGKILL, SIGTERM, SIGINT, SIGSEGV}) {
        EXPECT_EQ(answer("signal", std::to_string(signal)), notShown) << signal;
    }
    // A signal's number is no status.
    static_assert(SIGUSR1 == 10 && SIGSEGV == 11);
    EXPECT_EQ(answer("signal", std::to_string(SIGUSR1)), notShown);
}

TEST_F(ViewerAlertProcessTest, AProgramThatIsMissingOrNoProgramIsNotStarted) {
    const ViewerAlert alert(ViewerAlertStyle::warning, "exit", "10", {"OK"});
    EXPECT_EQ(ViewerAlertProcess::start(loop_, folder_.path() / "none", alert), nullptr);
    EXPECT_EQ(ViewerAlertProcess::start(loop_, folder_.path(), alert), nullptr);
}

TEST_F(ViewerAlertProcessTest, AnAlertThatNoPacketHoldsIsNotShown) {
    EXPECT_EQ(start("exit", std::string(16 << 20, 'x')), nullptr);
}

std::ptrdiff_t alertDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(ViewerAlertProcessTest, AnAlertLeavesNoDescriptorBehind) {
    EXPECT_EQ(answer("exit", "10"), Answer(true));  // opens what the loop itself needs
    const std::ptrdiff_t before = alertDescriptors();
    EXPECT_EQ(answer("exit", "11"), Answer(false));
    EXPECT_EQ(alertDescriptors(), before);
    const ViewerAlert alert(ViewerAlertStyle::warning, "exit", "10", {"OK"});
    EXPECT_EQ(ViewerAlertProcess::start(loop_, folder_.path() / "none", alert), nullptr);
    EXPECT_EQ(alertDescriptors(), before);
}

TEST_F(ViewerAlertProcessTest, TheProgramStartsWithNothingOfTheHosts) {
    const auto before = std::signal(SIGUSR2, SIG_IGN);
    sigset_t blocked;
    sigset_t mask;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &mask);
    const int inherited = ::open("/dev/zero", O_RDONLY);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit few{123, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    raiseDescriptorLimit();
    const auto file = folder_.path() / "report";
    EXPECT_EQ(answer("report", file), Answer(true));
    rlimit raised{};
    ::getrlimit(RLIMIT_NOFILE, &raised);
    EXPECT_GT(raised.rlim_cur, few.rlim_cur);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    ::close(inherited);
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    (void)std::signal(SIGUSR2, before);

    EXPECT_THAT(linesOf(file),
                UnorderedElementsAre("SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000",
                                     StartsWith("0 socket:"), "1 /dev/null", "2 /dev/null",
                                     "descriptors 123", "session own"));
}

TEST_F(ViewerAlertProcessTest, AHostThatWasStartedWithItsChildrenIgnoredGetsTheAnswer) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(answer("exit", "10"), Answer(true));
    (void)std::signal(SIGCHLD, before);
}

TEST_F(ViewerAlertProcessTest, TheProgramEndsWithItsObjectAndIsNotHeardOfAgain) {
    BorrowedEnvironment environment;
    environment.set("XDG_RUNTIME_DIR", std::nullopt);
    environment.set("TMPDIR", folder_.path());
    pid_t id = 0;
    bool isHeard = false;
    auto process = startHanging(id);
    ASSERT_GT(id, 0);
    process->awaitEnd([&](Answer) { isHeard = true; });
    const auto privateFolders = [&] {
        return std::ranges::count_if(std::filesystem::directory_iterator(folder_.path()),
                                     [](const auto& entry) { return entry.is_directory(); });
    };
    EXPECT_EQ(privateFolders(), 1);
    process.reset();

    EXPECT_EQ(::kill(id, 0), -1);
    EXPECT_EQ(errno, ESRCH);
    EXPECT_EQ(privateFolders(), 0);
    loop_.run_for(generous);
    EXPECT_FALSE(isHeard);
}

TEST_F(ViewerAlertProcessTest, AProgramThatWasStoppedEndsWithItsObjectToo) {
    pid_t id = 0;
    auto process = startHanging(id);
    ASSERT_GT(id, 0);
    ASSERT_EQ(::kill(id, SIGSTOP), 0);
    process.reset();

    EXPECT_EQ(::kill(id, 0), -1);
}

TEST_F(ViewerAlertProcessTest, TheLoopGoesOnMeanwhile) {
    pid_t id = 0;
    const auto process = startHanging(id);
    bool isHeard = false;
    process->awaitEnd([&](Answer given) { isHeard = !given; });
    EXPECT_EQ(loop_.poll(), 0U);
    EXPECT_FALSE(isHeard);
    ASSERT_GT(id, 0);
    ::kill(id, SIGTERM);
    loop_.run_for(generous);

    EXPECT_TRUE(isHeard);
}

TEST_F(ViewerAlertProcessTest, TheProgramIsFoundBesideTheHostOrInItsInstallation) {
    const auto bin = folder_.path() / "bin";
    std::filesystem::create_directory(bin);
    EXPECT_EQ(ViewerAlertProcess::programOf(bin / "VelmoraViewerHost").lexically_normal(),
              folder_.path() / "libexec/velmora-viewer-host/VelmoraViewerHostAlert");
    std::ofstream(bin / "VelmoraViewerHostAlert") << "";
    EXPECT_EQ(ViewerAlertProcess::programOf(bin / "VelmoraViewerHost"),
              bin / "VelmoraViewerHostAlert");
    const auto own = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(ViewerAlertProcess::program(), ViewerAlertProcess::programOf(own));
}

}  // namespace

}  // namespace velmora
