#include "viewerctl/ViewerProgramOutput.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <thread>

namespace velmora {

namespace {

constexpr std::size_t longestText = 4'096;

/// Standard output alone leads to the pipe; nothing is read, nothing complained of.
pid_t spawn(std::vector<std::string>& command, int output) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t child = -1;
    const int failure =
        ::posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? child : -1;
}

using TimePoint = std::chrono::steady_clock::time_point;

/// Everything until the end; false when that does not come in time.
bool readToEnd(int input, std::string& text, TimePoint end) {
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd descriptor{input, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&descriptor, 1, static_cast<int>(left.count())) <= 0) {
            return false;
        }
        std::array<char, 1'024> part{};
        const ssize_t length = ::read(input, part.data(), part.size());
        if (length <= 0) {
            return length == 0;
        }
        if (text.size() < longestText) {
            text.append(part.data(), static_cast<std::size_t>(length));
        }
    }
}

/// Also of a program that has closed its output before; false when it does not end in time.
bool awaitEnd(pid_t child, TimePoint end) {
    constexpr std::chrono::milliseconds betweenLooks{5};
    siginfo_t state{};
    // The status is left for whoever asks for it next.
    while (::waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           state.si_pid == 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(betweenLooks);
    }
    return state.si_pid == child;
}

}  // namespace

std::optional<ViewerProgramOutput> ViewerProgramOutput::of(std::vector<std::string> command,
                                                           std::chrono::milliseconds limit) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    const pid_t child = spawn(command, ends[1]);
    ::close(ends[1]);
    ViewerProgramOutput output;
    const auto end = std::chrono::steady_clock::now() + limit;
    const bool isWhole = child > 0 && readToEnd(ends[0], output.text, end) && awaitEnd(child, end);
    ::close(ends[0]);
    if (child <= 0) {
        return std::nullopt;
    }
    if (!isWhole) {
        ::kill(child, SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!isWhole) {
        return std::nullopt;
    }
    output.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    output.text.resize(output.text.find_last_not_of('\n') + 1);
    return output;
}

}  // namespace velmora
