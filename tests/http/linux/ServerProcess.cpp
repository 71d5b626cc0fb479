#include "tests/http/linux/ServerProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Reads `size` bytes, within a generous time.
bool readAll(int descriptor, void* bytes, std::size_t size) {
    constexpr int limitMilliseconds = 30'000;
    auto* place = static_cast<char*>(bytes);
    while (size > 0) {
        pollfd polled{descriptor, POLLIN, 0};
        const ssize_t count =
            ::poll(&polled, 1, limitMilliseconds) == 1 ? ::read(descriptor, place, size) : 0;
        if (count <= 0) {
            return false;
        }
        place += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

void writeAll(int descriptor, const void* bytes, std::size_t size) {
    viewerCheck(::write(descriptor, bytes, size) == static_cast<ssize_t>(size),
                "a pipe takes a few bytes at once");
}

}  // namespace

void ServerProcess::Parent::tellPort(std::uint16_t port) const {
    writeAll(descriptor_, &port, sizeof port);
}

void ServerProcess::Parent::tellEvent() const {
    writeAll(descriptor_, "e", 1);
}

ServerProcess::ServerProcess(const std::function<void(const Parent&)>& serve) {
    std::array<int, 2> ends{};
    viewerCheck(::pipe2(ends.data(), O_CLOEXEC) == 0, "the test has a pipe");
    child_ = ::fork();
    viewerCheck(child_ >= 0, "the test has a child");
    if (child_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(ends[0]);
        serve(Parent(ends[1]));
        ::_exit(0);
    }
    ::close(ends[1]);
    descriptor_ = ends[0];
}

ServerProcess::~ServerProcess() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    ::close(descriptor_);
}

std::uint16_t ServerProcess::readPort() const {
    std::uint16_t port = 0;
    return readAll(descriptor_, &port, sizeof port) ? port : std::uint16_t{0};
}

bool ServerProcess::readEvents(std::size_t count) const {
    char event = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!readAll(descriptor_, &event, sizeof event)) {
            return false;
        }
    }
    return true;
}

std::chrono::nanoseconds ServerProcess::processorTime() const {
    clockid_t clock{};
    timespec time{};
    viewerCheck(::clock_getcpuclockid(child_, &clock) == 0 && ::clock_gettime(clock, &time) == 0,
                "a child has a processor clock");
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool limitDescriptors(std::size_t count) {
    const rlimit limit{count, count};
    return ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
}

}  // namespace velmora
