#include "bench/capture/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "bench/Measuring.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

/// The number behind `name` in a status file of the system's.
std::int64_t statusOf(const std::filesystem::path& folder, const std::string& name) {
    std::ifstream file(folder / "status");
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(name + ":")) {
            return std::stoll(line.substr(name.size() + 1));
        }
    }
    return 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments) {
    std::array<int, 2> pipe{};
    viewerCheck(::pipe2(pipe.data(), O_CLOEXEC) == 0, "a measured program gets a pipe");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& each : arguments) {
        pointers.push_back(const_cast<char*>(each.c_str()));
    }
    pointers.push_back(nullptr);
    id_ = ::fork();
    viewerCheck(id_ >= 0, "a measured program gets a process");
    if (id_ == 0) {
        become(pointers.data(), pipe[1]);
    }
    ::close(pipe[1]);
    output_ = pipe[0];
}

void ChildProcess::become(char* const* arguments, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(nothing, STDERR_FILENO);
    ::execvp(arguments[0], arguments);
    constexpr int notFound = 127;
    ::_exit(notFound);
}

ChildProcess::~ChildProcess() {
    constexpr int patienceMilliseconds = 5000;
    const auto process = static_cast<int>(::syscall(SYS_pidfd_open, id_, 0));
    pollfd end{process, POLLIN, 0};
    ::kill(id_, SIGTERM);
    if (::poll(&end, 1, patienceMilliseconds) <= 0) {
        ::kill(id_, SIGKILL);
    }
    ::waitpid(id_, nullptr, 0);
    ::close(process);
    ::close(output_);
}

std::string ChildProcess::read(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd waiting{output_, POLLIN, 0};
    if (::poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) <= 0) {
        return {};
    }
    std::array<char, 65536> bytes;
    const ssize_t count = ::read(output_, bytes.data(), bytes.size());
    viewerCheck(count > 0, "a measured program runs until the benchmark ends it");
    return {bytes.data(), static_cast<std::size_t>(count)};
}

std::string ChildProcess::awaitLine(const std::string& beginning) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string output = "\n";
    while (std::chrono::steady_clock::now() < deadline) {
        output += read(deadline);
        const std::size_t found = output.find("\n" + beginning);
        const std::size_t end = output.find('\n', std::min(found, output.size() - 1) + 1);
        if (found != std::string::npos && end != std::string::npos) {
            const std::size_t begin = found + 1 + beginning.size();
            return output.substr(begin, end - begin);
        }
    }
    viewerCheck(false, "a measured program says that it is ready");
    return {};
}

std::chrono::nanoseconds ChildProcess::processorTime() const {
    return bench::processorTime(id_);
}

double ChildProcess::residentMegabytes() const {
    constexpr double kibibytesAMegabyte = 1e6 / 1024;
    return static_cast<double>(statusOf("/proc/" + std::to_string(id_), "VmRSS")) /
           kibibytesAMegabyte;
}

std::int64_t ChildProcess::waits() const {
    std::int64_t result = 0;
    const std::filesystem::path process = "/proc/" + std::to_string(id_);
    for (const auto& thread : std::filesystem::directory_iterator(process / "task")) {
        result += statusOf(thread.path(), "voluntary_ctxt_switches");
    }
    return result;
}

}  // namespace velmora::bench
