#include "tests/support/pipewire/PipeWireServer.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/pipewire/PipeWireClient.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
/// The user "nobody" and the group "nogroup", by number.
constexpr unsigned nobody = 65'534;
constexpr const char* socketName = "pipewire-0";

void await(const std::function<bool()>& holds, const std::filesystem::path& log) {
    constexpr int betweenLooks = 5;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            std::cerr << std::ifstream(log).rdbuf();
            viewerCheck(false, "the test's PipeWire does not become ready");
        }
        ::poll(nullptr, 0, betweenLooks);
    }
}

void killNow(pid_t& process) {
    if (process == 0) {
        return;
    }
    (void)::kill(process, SIGKILL);  // It is a child that nobody has waited for: it is there.
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process, patience, status),
                "a PipeWire that was killed does not end");
    process = 0;
}

/// A session manager that does nothing but link streams, as each of its generations wants it said.
std::vector<std::string> sessionManager() {
    if (std::filesystem::exists("/usr/share/wireplumber/policy.conf")) {
        return {"wireplumber", "-c", "policy.conf"};
    }
    return {"wireplumber", "--profile=policy"};
}

}  // namespace

PipeWireServer::PipeWireServer() {
    if (::geteuid() == 0) {
        viewerCheck(::chown(folder_.path().c_str(), nobody, nobody) == 0,
                    "a folder cannot be given to another user");
    }
    server_ = start({"pipewire"}, "pipewire.log");
    await([this] { return isListening(); }, folder_.path() / "pipewire.log");
    manager_ = start(sessionManager(), "manager.log");
    await([this] { return isManaged(); }, folder_.path() / "manager.log");
}

PipeWireServer::~PipeWireServer() {
    killNow(manager_);
    killNow(server_);
}

pid_t PipeWireServer::start(const std::vector<std::string>& command, const std::string& log) const {
    const std::string folder = folder_.path();
    XChildProcess::Start what;
    if (::geteuid() == 0) {
        what.arguments = {"setpriv",        "--reuid=nobody",  "--regid=nogroup",
                          "--clear-groups", "--inh-caps=-all", "--no-new-privs"};
    }
    what.arguments.insert(what.arguments.end(), command.begin(), command.end());
    // Neither the person's own sessions nor settings: only what lies in the folder.
    what.environment = {"XDG_RUNTIME_DIR=" + folder,
                        "PIPEWIRE_RUNTIME_DIR=" + folder,
                        "HOME=" + folder,
                        "XDG_CONFIG_HOME=" + folder,
                        "XDG_STATE_HOME=" + folder,
                        "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder + "/none",
                        "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + folder + "/none"};
    what.logFile = folder_.path() / log;
    return XChildProcess::start(what);
}

bool PipeWireServer::isManaged() const {
    PipeWireClient client(connect());
    return client.hasClient("WirePlumber");
}

bool PipeWireServer::isListening() const {
    const int descriptor = tryToConnect();
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return descriptor >= 0;
}

int PipeWireServer::connect() const {
    const int descriptor = tryToConnect();
    viewerCheck(descriptor >= 0, "the test's PipeWire cannot be connected to");
    return descriptor;
}

int PipeWireServer::tryToConnect() const {
    const std::string path = folder_.path() / socketName;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    viewerCheck(path.size() < sizeof address.sun_path, "a socket's path is too long");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    viewerCheck(descriptor >= 0, "a socket cannot be made");
    if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

void PipeWireServer::kill() {
    killNow(server_);
}

void PipeWireServer::hang() {
    viewerCheck(::kill(server_, SIGSTOP) == 0, "the test's PipeWire cannot be stopped");
}

void PipeWireServer::resume() {
    viewerCheck(::kill(server_, SIGCONT) == 0, "the test's PipeWire cannot be continued");
}

void PipeWireServer::killSessionManager() {
    killNow(manager_);
}

}  // namespace velmora
