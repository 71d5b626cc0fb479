#include "tests/support/wayland/NestedCompositor.h"

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

/// The socket in the folder whose name begins so and behind which somebody listens, or nothing.
std::string socketIn(const std::filesystem::path& folder, const std::string& beginning) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_socket() && entry.path().filename().string().starts_with(beginning) &&
            isListenedTo(entry.path())) {
            return entry.path();
        }
    }
    return {};
}

}  // namespace

NestedCompositor::NestedCompositor(int outputs)
    : outerControl_(std::filesystem::path(outer_.displayName()).parent_path()) {
    const auto configuration = folder_.path() / "sway";
    std::ofstream(configuration) << "xwayland disable\n";
    XChildProcess::Start what;
    if (::geteuid() == 0) {
        viewerCheck(::chown(folder_.path().c_str(), nobody, nobody) == 0,
                    "a folder cannot be given to another user");
        what.arguments = {"setpriv",        "--reuid=nobody",  "--regid=nogroup",
                          "--clear-groups", "--inh-caps=-all", "--no-new-privs"};
    }
    what.arguments.insert(what.arguments.end(), {"sway", "-c", configuration});
    what.environment = {"XDG_RUNTIME_DIR=" + folder_.path().string(), "WLR_BACKENDS=wayland",
                        "WLR_RENDERER=pixman", "WAYLAND_DISPLAY=" + outer_.displayName(),
                        "WLR_WL_OUTPUTS=" + std::to_string(outputs)};
    what.logFile = folder_.path() / "log";
    process_ = XChildProcess::start(what);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (displayName_.empty() || socketIn(folder_.path(), "sway-ipc").empty()) {
        constexpr int betweenLooks = 10;
        ::poll(nullptr, 0, betweenLooks);
        displayName_ = socketIn(folder_.path(), "wayland-");
        if (std::chrono::steady_clock::now() > end) {
            std::cerr << std::ifstream(folder_.path() / "log").rdbuf();
            viewerCheck(false, "the test's nested compositor does not become ready");
        }
    }
}

NestedCompositor::~NestedCompositor() {
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "a compositor that was killed does not end");
}

void NestedCompositor::unplug(const std::string& output) const {
    outerControl_.run("[title=\"wlroots - " + output + "\"] kill");
}

}  // namespace velmora
