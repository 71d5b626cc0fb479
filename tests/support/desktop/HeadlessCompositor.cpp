#include "tests/support/desktop/HeadlessCompositor.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/system/LocalSocket.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
/// The user "nobody" and the group "nogroup", by number.
constexpr unsigned nobody = 65'534;
constexpr const char* xwaylandFile = "xwayland";

}  // namespace

HeadlessCompositor::HeadlessCompositor(X11 x11) {
    const auto configuration = folder_.path() / "sway";
    if (x11 == X11::none) {
        std::ofstream(configuration) << "xwayland disable\n";
    } else {
        const auto file = (folder_.path() / xwaylandFile).string();
        // The test need not run as the compositor's user, who alone is let in at first.
        std::ofstream(configuration) << "xwayland force\nexec xhost +local: && echo $DISPLAY > "
                                     << file << ".new && mv " << file << ".new " << file << '\n';
    }
    XChildProcess::Start what;
    if (::geteuid() == 0) {
        viewerCheck(::chown(folder_.path().c_str(), nobody, nobody) == 0,
                    "a folder cannot be given to another user");
        what.arguments = {"setpriv",        "--reuid=nobody",  "--regid=nogroup",
                          "--clear-groups", "--inh-caps=-all", "--no-new-privs"};
    }
    what.arguments.insert(what.arguments.end(), {"sway", "-c", configuration});
    what.environment = {"XDG_RUNTIME_DIR=" + folder_.path().string(), "WLR_BACKENDS=headless",
                        "WLR_RENDERER=pixman", "WLR_LIBINPUT_NO_DEVICES=1"};
    what.logFile = folder_.path() / "log";
    process_ = XChildProcess::start(what);
    displayName_ = awaitSocket();
    if (x11 == X11::xwayland) {
        xwaylandName_ = awaitXwayland();
    }
}

HeadlessCompositor::~HeadlessCompositor() {
    if (process_ != 0) {
        kill();
    }
}

void HeadlessCompositor::kill() {
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "a compositor that was killed does not end");
    process_ = 0;
    if (!xwaylandName_.empty()) {
        // Mostly there; an Xwayland that ended by itself has removed them.
        (void)::unlink(("/tmp/.X11-unix/X" + xwaylandName_.substr(1)).c_str());
        (void)::unlink(("/tmp/.X" + xwaylandName_.substr(1) + "-lock").c_str());
    }
}

std::string HeadlessCompositor::await(const std::function<std::string()>& look) const {
    constexpr int betweenLooks = 10;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < end) {
        std::string found = look();
        if (!found.empty()) {
            return found;
        }
        ::poll(nullptr, 0, betweenLooks);
    }
    std::cerr << std::ifstream(folder_.path() / "log").rdbuf();
    viewerCheck(false, "the test's compositor does not become ready");
    return {};
}

std::string HeadlessCompositor::awaitSocket() const {
    return await([this]() -> std::string {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            if (entry.is_socket() && entry.path().filename().string().starts_with("wayland-") &&
                isListenedTo(entry.path())) {
                return entry.path();
            }
        }
        return {};
    });
}

std::string HeadlessCompositor::awaitXwayland() const {
    return await([this] {
        std::string name;
        std::ifstream(folder_.path() / xwaylandFile) >> name;
        return name;
    });
}

}  // namespace velmora
