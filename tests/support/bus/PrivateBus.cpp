#include "tests/support/bus/PrivateBus.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::milliseconds patience{30'000};

std::string readLine(int descriptor) {
    std::string line;
    pollfd ready{descriptor, POLLIN, 0};
    char character = 0;
    while (::poll(&ready, 1, static_cast<int>(patience.count())) == 1 &&
           ::read(descriptor, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

/// The system's own configuration would start the system's own services.
void writeConfiguration(const std::filesystem::path& folder, const PrivateBus::Services& services) {
    std::filesystem::create_directory(folder / "services");
    for (const auto& [name, command] : services) {
        std::ofstream(folder / "services" / (name + ".service"))
            << "[D-BUS Service]\nName=" << name << "\nExec=" << command << '\n';
    }
    std::ofstream(folder / "bus.conf")
        << R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=)"
        << (folder / "bus").string() << "</listen>\n  <servicedir>"
        << (folder / "services").string() << R"(</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";
}

}  // namespace

PrivateBus::PrivateBus(const Services& services) {
    writeConfiguration(folder_.path(), services);
    std::array<int, 2> ends{-1, -1};
    viewerCheck(::pipe2(ends.data(), O_CLOEXEC) == 0, "a bus gets no pipe");
    XChildProcess::Start what;
    what.arguments = {"dbus-daemon", "--nofork", "--nopidfile",
                      "--config-file=" + (folder_.path() / "bus.conf").string(),
                      "--print-address=" + std::to_string(ends[1])};
    what.logFile = folder_.path() / "log";
    what.inherited = ends[1];
    process_ = XChildProcess::start(what);
    ::close(ends[1]);
    address_ = readLine(ends[0]);
    ::close(ends[0]);
    viewerCheck(!address_.empty(), "the test's bus does not start");
}

PrivateBus::~PrivateBus() {
    if (process_ != 0) {
        kill();
    }
}

void PrivateBus::kill() {
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "a bus that was killed does not end");
    process_ = 0;
}

void PrivateBus::freeze() {
    viewerCheck(::kill(process_, SIGSTOP) == 0, "a bus can be stopped");
}

}  // namespace velmora
