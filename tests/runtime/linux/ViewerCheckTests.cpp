#include "core/runtime/ViewerCheck.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <fstream>
#include <string>
#include <thread>

namespace velmora {
namespace {

/// Waits until this thread of the process sleeps.
void awaitSleep(const std::atomic<pid_t>& thread) {
    char state = 'R';
    while (state != 'S') {
        std::this_thread::yield();
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string field;  // the number and the name, which may have no blank
        file >> field >> field >> state;
    }
}

/// A check fails while nobody takes its reason. Meanwhile the reasons are to go elsewhere; then
/// somebody takes it.
void redirectWhileACheckTells() {
    std::array<int, 2> pipe{};
    viewerCheck(::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) == 0, "a test has a pipe");
    std::array<char, 4096> bytes{};
    while (::write(pipe[1], bytes.data(), bytes.size()) > 0) {
    }
    (void)::fcntl(pipe[1], F_SETFL, 0);  // from now on it lets wait
    tellViewerChecksTo(pipe[1]);
    std::atomic<pid_t> failing = 0;
    const std::thread check([&] {
        failing = ::gettid();
        viewerCheck(false, "a reason");
    });
    awaitSleep(failing);
    std::atomic<pid_t> redirecting = 0;
    const std::thread redirection([&] {
        redirecting = ::gettid();
        tellViewerChecksTo(STDERR_FILENO);
        ::_exit(EXIT_FAILURE);
    });
    awaitSleep(redirecting);
    while (::read(pipe[0], bytes.data(), bytes.size()) > 0) {
    }
    for (;;) {
        ::pause();  // until the check ends the process
    }
}

TEST(ViewerCheck, WhatItTellsItsReasonToStaysUntilTheProcessHasEnded) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(redirectWhileACheckTells(), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
}  // namespace velmora
