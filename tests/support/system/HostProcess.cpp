#include "tests/support/system/HostProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

using Milliseconds = std::chrono::milliseconds;

bool awaitReadable(int descriptor, Milliseconds limit) {
    pollfd waited{descriptor, POLLIN, 0};
    return ::poll(&waited, 1, static_cast<int>(limit.count())) > 0;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers(texts.size() + 1);
    std::ranges::transform(texts, pointers.begin(), [](std::string& text) { return text.data(); });
    return pointers;
}

int openOutput(HostLaunch::Output output, int pipeEnd) {
    switch (output) {
        case HostLaunch::Output::captured:
            return pipeEnd;
        case HostLaunch::Output::full:
            return ::open("/dev/full", O_WRONLY | O_CLOEXEC);
        case HostLaunch::Output::broken: {
            std::array<int, 2> ends{-1, -1};
            (void)::pipe2(ends.data(), O_CLOEXEC);  // failed, it is closed
            ::close(ends[0]);
            return ends[1];
        }
        case HostLaunch::Output::closed:
            return -1;
    }
    return -1;
}

/// The program's side of a new terminal, whose other side is `reader`.
int openTerminal(int& reader) {
    reader = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    std::array<char, 64> name{};
    const bool isMade = ::grantpt(reader) == 0 && ::unlockpt(reader) == 0 &&
                        ::ptsname_r(reader, name.data(), name.size()) == 0;
    const int terminal = isMade ? ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    viewerCheck(terminal >= 0, "the test can have a terminal");
    return terminal;
}

std::size_t entriesOf(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const HostEnd& end) {
    return end.status ? stream << "exit status " << *end.status
                      : stream << "ended by signal " << end.signal;
}

HostLaunch startedBy(const std::string& program, std::vector<std::string> arguments,
                     const HostLaunch& launch) {
    HostLaunch started = launch;
    started.program = program;
    arguments.push_back(launch.program.value_or(VIEWER_HOST_PATH));
    arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
    started.arguments = std::move(arguments);
    return started;
}

HostLaunch leavingDumps(const HostLaunch& launch) {
    return startedBy("/bin/sh", {"-c", "cd \"$HOME\" && ulimit -c unlimited && exec \"$0\" \"$@\""},
                     launch);
}

HostProcess::HostProcess(const HostLaunch& launch) {
    std::array<int, 2> ends{};
    error_ = ::memfd_create("standard error", MFD_CLOEXEC);
    viewerCheck(::pipe2(ends.data(), O_CLOEXEC) == 0 && error_ >= 0, "the test has descriptors");
    output_ = ends[0];
    const int terminal = launch.isOnTerminal ? openTerminal(terminal_) : -1;
    id_ = ::fork();
    viewerCheck(id_ >= 0, "the test can start a process");
    if (id_ == 0) {
        becomeHost(launch, ends[1], launch.isOnTerminal ? terminal : error_);
    }
    ::close(ends[1]);
    ::close(terminal);
    // By number: glibc 2.36 declares pidfd_open() with the linkage of C++.
    idDescriptor_ = static_cast<int>(::syscall(SYS_pidfd_open, id_, 0));
    viewerCheck(idDescriptor_ >= 0, "a started process has a descriptor");
}

HostProcess::~HostProcess() {
    if (!end_) {
        signal(SIGKILL);
        (void)awaitEnd();  // it has no choice
    }
    // The host is silent there: what is found is a fault's last words.
    EXPECT_EQ(standardError(), "");
    for (const int descriptor : {idDescriptor_, output_, error_, terminal_}) {
        ::close(descriptor);
    }
}

void HostProcess::becomeHost(const HostLaunch& launch, int output, int error) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int standardOutput = openOutput(launch.output, output);
    ::close(STDOUT_FILENO);
    if (standardOutput >= 0) {
        ::dup2(standardOutput, STDOUT_FILENO);
    }
    ::dup2(error, STDERR_FILENO);
    if (launch.descriptors) {
        ::setrlimit(RLIMIT_NOFILE, &*launch.descriptors);
    }
    std::vector<std::string> arguments{launch.name};
    arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
    // Built with ThreadSanitizer, a host would wait a second before it ends, and blame itself for
    // leaving while a thread of its runs.
    std::vector<std::string> environment{"TSAN_OPTIONS=atexit_sleep_ms=0:report_thread_leaks=0"};
    // A host that counts its branches does so where its test does.
    constexpr const char* counts = "LLVM_PROFILE_FILE";
    if (const char* const file = ::getenv(counts)) {  // NOLINT(concurrency-mt-unsafe)
        environment.push_back(std::string(counts) + "=" + file);
    }
    for (const auto& [name, value] : launch.environment) {
        environment.push_back(name);
        environment.back().append("=").append(value);
    }
    ::execve(launch.program.value_or(VIEWER_HOST_PATH).c_str(), pointersTo(arguments).data(),
             pointersTo(environment).data());
    ::_exit(127);
}

void HostProcess::signal(int number) const {
    ::kill(id_, number);
}

std::optional<std::string> HostProcess::readLine() {
    std::size_t end = unread_.find('\n');
    while (end == std::string::npos && awaitReadable(output_, generousLimit)) {
        std::array<char, 4096> bytes;
        const ssize_t count = ::read(output_, bytes.data(), bytes.size());
        if (count <= 0) {
            break;
        }
        unread_.append(bytes.data(), static_cast<std::size_t>(count));
        end = unread_.find('\n');
    }
    if (end == std::string::npos) {
        return std::nullopt;
    }
    std::string line = unread_.substr(0, end);
    unread_.erase(0, end + 1);
    return line;
}

std::string HostProcess::readToEnd() {
    std::string text;
    while (const auto line = readLine()) {
        text += *line + '\n';
    }
    return text + unread_;
}

std::string HostProcess::standardError() const {
    constexpr std::size_t mostBytes = 65'536;
    std::string text(mostBytes, '\0');
    const ssize_t count = ::pread(error_, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

std::string HostProcess::readTerminal() const {
    std::string text;
    std::array<char, 4096> bytes;
    ssize_t count = 0;
    // With nobody on its other side it ends by an error.
    while ((count = ::read(terminal_, bytes.data(), bytes.size())) > 0) {
        text.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return text;
}

std::optional<HostEnd> HostProcess::awaitEnd(Milliseconds limit) {
    if (end_) {
        return end_;
    }
    if (!awaitReadable(idDescriptor_, limit)) {
        return std::nullopt;
    }
    int status = 0;
    viewerCheck(::waitpid(id_, &status, 0) == id_, "an ended child can be waited for");
    end_ = WIFEXITED(status) ? HostEnd{WEXITSTATUS(status), 0}
                             : HostEnd{std::nullopt, WTERMSIG(status)};
    return end_;
}

bool HostProcess::ignoresSignals() const {
    std::ifstream file("/proc/" + std::to_string(id_) + "/status");
    std::string line;
    constexpr std::string_view key = "SigIgn:";
    while (std::getline(file, line)) {
        if (line.starts_with(key)) {
            const auto set = std::stoull(line.substr(key.size()), nullptr, 16);
            return ((set >> (SIGTERM - 1)) & 1U) != 0;
        }
    }
    return false;
}

std::size_t HostProcess::descriptors() const {
    return entriesOf("/proc/" + std::to_string(id_) + "/fd");
}

std::string HostProcess::descriptorTarget(int descriptor) const {
    return std::filesystem::read_symlink("/proc/" + std::to_string(id_) + "/fd/" +
                                         std::to_string(descriptor));
}

std::vector<pid_t> HostProcess::children() const {
    const std::string id = std::to_string(id_);
    std::ifstream file("/proc/" + id + "/task/" + id + "/children");
    return {std::istream_iterator<pid_t>(file), {}};
}

std::size_t HostProcess::threads() const {
    return entriesOf("/proc/" + std::to_string(id_) + "/task");
}

std::size_t HostProcess::threadsNamed(std::string_view beginning) const {
    std::size_t count = 0;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(id_) + "/task")) {
        std::string name;
        std::ifstream(thread.path() / "comm") >> name;
        count += name.starts_with(beginning) ? 1U : 0U;
    }
    return count;
}

std::size_t HostProcess::residentBytes() const {
    std::ifstream file("/proc/" + std::to_string(id_) + "/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::chrono::microseconds HostProcess::processorTime() const {
    clockid_t clock = 0;
    timespec time{};
    const bool isRead =
        ::clock_getcpuclockid(id_, &clock) == 0 && ::clock_gettime(clock, &time) == 0;
    viewerCheck(isRead, "a running process has a processor clock");
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

}  // namespace velmora
