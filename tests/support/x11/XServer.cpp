#include "tests/support/x11/XServer.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};

/// The user's own authority is of no use with our servers. The library that looks for it writes
/// the place it guesses into a buffer that all threads share; told where to look, it does not.
void leaveAuthorityOut() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the first server is started before any thread is.
    static const int result = ::setenv("XAUTHORITY", "/dev/null", 0);
    viewerCheck(result == 0, "the environment takes no variable");
}

/// A number that no other test's server has: ours are apart from those that servers choose for
/// themselves, and start at another place in each process.
int nextNumber() {
    constexpr int first = 1000;
    constexpr int span = 58'000;
    constexpr int stride = 4999;
    static std::atomic<int> started{0};
    return first + (::getpid() + started.fetch_add(1) % span * stride) % span;
}

/// Whether the server wrote its number, a line, before it ended. It accepts clients then.
bool waitUntilReady(int descriptor) {
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
    char character = 0;
    while (character != '\n') {
        pollfd readable{descriptor, POLLIN, 0};
        const int count = ::poll(&readable, 1, static_cast<int>(limit.count()));
        viewerCheck(count == 1, "the test's X server does not become ready");
        if (::read(descriptor, &character, 1) != 1) {
            return false;
        }
    }
    return true;
}

std::string position(const ViewerRectangle& place) {
    return std::to_string(place.x) + "x" + std::to_string(place.y);
}

}  // namespace

XServer::XServer(Options options) : options_(std::move(options)) {
    leaveAuthorityOut();
    std::string pattern = std::filesystem::temp_directory_path() / "viewer-x-XXXXXX";
    viewerCheck(::mkdtemp(pattern.data()) != nullptr, "a folder for an X server cannot be made");
    folder_ = pattern;
    if (options_.isAuthorityRequired) {
        writeAuthority();
    }
    if (options_.kind == Kind::xorg) {
        writeXorgConfiguration();
    }
    start();
}

XServer::~XServer() {
    if (process_ != 0) {
        // A server that is told to end cleans up after itself.
        (void)::kill(process_, SIGTERM);
        (void)::kill(process_, SIGCONT);
        int status = 0;
        if (XChildProcess::waitForEnd(process_, std::chrono::seconds(5), status)) {
            process_ = 0;
        } else {
            kill();
        }
    }
    removeLeftovers();
    std::error_code ignored;  // A folder left behind in the temporary folder harms nobody.
    std::filesystem::remove_all(folder_, ignored);
}

void XServer::writeAuthority() {
    // Each entry: family ("any"), address, display number and name as texts with their lengths,
    // then the data.
    authorityFile_ = folder_ + "/authority";
    std::ofstream file(authorityFile_, std::ios::binary);
    const auto put = [&file](const std::string& text) {
        file.put('\0').put(static_cast<char>(text.size())) << text;
    };
    file.put('\xff').put('\xff');
    put("");
    put("");
    put(XClient::authorityName());
    put(cookie_);
    viewerCheck(file.good(), "an X server's authority file cannot be written");
}

void XServer::writeXorgConfiguration() {
    std::ofstream file(folder_ + "/xorg.conf");
    file << R"(Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoAddGPU" "false"
    Option "DontVTSwitch" "true"
    Option "AllowMouseOpenFail" "true"
EndSection
Section "Device"
    Identifier "device"
    Driver "dummy"
    VideoRam 262144
EndSection
Section "Monitor"
    Identifier "monitor"
    HorizSync 5.0-1000.0
    VertRefresh 5.0-200.0
EndSection
Section "Screen"
    Identifier "screen"
    Device "device"
    Monitor "monitor"
    DefaultDepth )"
         << options_.depth << R"(
    SubSection "Display"
        Depth )"
         << options_.depth << R"(
        Virtual 7680 4320
    EndSubSection
EndSection
)";
    viewerCheck(file.good(), "an X server's configuration cannot be written");
}

void XServer::start() {
    constexpr int attempts = 5;
    for (int i = 0; i < attempts; ++i) {
        if (startAt(nextNumber())) {
            if (options_.kind == Kind::xorg) {
                showOutput("DUMMY0", {0, 0, options_.width, options_.height});
            }
            return;
        }
    }
    std::cerr << std::ifstream(folder_ + "/log").rdbuf();
    viewerCheck(false, "the test's X server does not start");
}

bool XServer::startAt(int number) {
    std::array<int, 2> ready{};
    viewerCheck(::pipe2(ready.data(), O_CLOEXEC) == 0, "an X server gets no pipe");
    XChildProcess::Start what;
    what.arguments = commandLine(number, ready[1]);
    what.logFile = folder_ + "/log";
    what.inherited = ready[1];
    const pid_t process = XChildProcess::start(what);
    ::close(ready[1]);
    const bool isReady = waitUntilReady(ready[0]);
    ::close(ready[0]);
    if (!isReady) {
        int status = 0;
        const bool hasEnded = XChildProcess::waitForEnd(process, patience, status);
        viewerCheck(hasEnded, "an X server that failed to start does not end");
        return false;
    }
    process_ = process;
    number_ = number;
    displayName_ = ":" + std::to_string(number);
    return true;
}

std::vector<std::string> XServer::commandLine(int number, int readyDescriptor) const {
    std::vector<std::string> result;
    if (options_.kind == Kind::xorg) {
        result = {"Xorg", "-config", folder_ + "/xorg.conf", "-logfile", folder_ + "/xorg.log"};
    } else {
        result = {"Xvfb", "-screen", "0",
                  std::to_string(options_.width) + "x" + std::to_string(options_.height) + "x" +
                      std::to_string(options_.depth)};
    }
    // Without -noreset a server forgets its monitors whenever its last client leaves.
    result.insert(result.end(), {":" + std::to_string(number), "-displayfd",
                                 std::to_string(readyDescriptor), "-noreset", "-nolisten", "tcp"});
    if (!authorityFile_.empty()) {
        result.insert(result.end(), {"-auth", authorityFile_});
    }
    result.insert(result.end(), options_.arguments.begin(), options_.arguments.end());
    return result;
}

void XServer::kill() {
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "an X server that was killed does not end");
    process_ = 0;
    removeLeftovers();
}

void XServer::restart() {
    viewerCheck(process_ == 0, "an X server is started again after its end");
    viewerCheck(startAt(number_), "an X server does not start again under its number");
    if (options_.kind == Kind::xorg) {
        showOutput("DUMMY0", {0, 0, options_.width, options_.height});
    }
}

void XServer::restartForAnother() {
    viewerCheck(options_.isAuthorityRequired, "only a server that has a cookie can have another");
    std::ranges::reverse(cookie_);
    writeAuthority();
    restart();
}

void XServer::freeze() {
    siginfo_t information{};
    viewerCheck(::kill(process_, SIGSTOP) == 0 &&
                    ::waitid(P_PID, static_cast<id_t>(process_), &information, WSTOPPED) == 0,
                "an X server cannot be frozen");
}

void XServer::thaw() {
    siginfo_t information{};
    viewerCheck(::kill(process_, SIGCONT) == 0 &&
                    ::waitid(P_PID, static_cast<id_t>(process_), &information, WCONTINUED) == 0,
                "an X server cannot be thawed");
}

void XServer::removeLeftovers() const {
    const std::string number = std::to_string(number_);
    (void)::unlink(("/tmp/.X11-unix/X" + number).c_str());  // Mostly there is nothing to remove.
    (void)::unlink(("/tmp/.X" + number + "-lock").c_str());
}

bool XServer::xrandr(const std::vector<std::string>& arguments) {
    XChildProcess::Start what;
    what.arguments = {"xrandr"};
    what.arguments.insert(what.arguments.end(), arguments.begin(), arguments.end());
    what.environment = {"DISPLAY=" + displayName_};
    if (!authorityFile_.empty()) {
        what.environment.push_back("XAUTHORITY=" + authorityFile_);
    }
    what.logFile = folder_ + "/log";
    int status = 0;
    const bool hasEnded = XChildProcess::waitForEnd(XChildProcess::start(what), patience, status);
    viewerCheck(hasEnded, "xrandr does not end");
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string XServer::makeMode(int width, int height, const std::string& output) {
    constexpr int blankColumns = 160;
    constexpr int blankRows = 30;
    constexpr double refreshesPerMicrosecond = 60e-6;
    const std::string name = std::to_string(width) + "x" + std::to_string(height) + "test";
    const double clock = (width + blankColumns) * (height + blankRows) * refreshesPerMicrosecond;
    const auto text = [](int base, int offset) { return std::to_string(base + offset); };
    // Both fail when the mode is there already; what counts is whether it can be shown.
    (void)xrandr({"--newmode", name, std::to_string(clock), text(width, 0), text(width, 40),
                  text(width, 80), text(width, blankColumns), text(height, 0), text(height, 3),
                  text(height, 8), text(height, blankRows)});
    (void)xrandr({"--addmode", output, name});
    return name;
}

void XServer::setMode(const std::string& output, int width, int height) {
    const std::string mode = makeMode(width, height, output);
    viewerCheck(xrandr({"--output", output, "--mode", mode}), "an output does not show a mode");
}

void XServer::showOutput(const std::string& output, const ViewerRectangle& place) {
    const std::string mode =
        makeMode(static_cast<int>(place.width), static_cast<int>(place.height), output);
    viewerCheck(xrandr({"--output", output, "--mode", mode, "--pos", position(place)}),
                "an output is not shown at its place");
}

void XServer::hideOutput(const std::string& output) {
    viewerCheck(xrandr({"--output", output, "--off"}), "an output is not switched off");
}

void XServer::setMonitor(const std::string& name, const ViewerRectangle& place,
                         const std::string& output) {
    connect()->setMonitor(name, place, output);
}

void XServer::deleteMonitor(const std::string& name) {
    connect()->deleteMonitor(name);
}

void XServer::setEDID(const std::string& output, const std::vector<std::uint8_t>& bytes) {
    connect()->setEDID(output, bytes);
}

std::unique_ptr<XClient> XServer::connect() const {
    return std::make_unique<XClient>(displayName_, options_.isAuthorityRequired ? cookie_ : "");
}

}  // namespace velmora
