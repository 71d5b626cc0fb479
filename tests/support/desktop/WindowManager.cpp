#include "tests/support/desktop/WindowManager.h"

#include <poll.h>
#include <signal.h>

#include <chrono>
#include <fstream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/x11/XChildProcess.h"
#include "tests/support/x11/XWindow.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};

}  // namespace

WindowManager::WindowManager(const XServer& server) {
    constexpr int betweenLooks = 10;
    const auto configuration = folder_.path() / "rc.xml";
    std::ofstream(configuration) << R"(<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>no</focusNew></focus>
</openbox_config>
)";
    XChildProcess::Start what;
    what.arguments = {"openbox", "--sm-disable", "--config-file", configuration};
    what.environment = {"DISPLAY=" + server.displayName(),
                        "XDG_CACHE_HOME=" + folder_.path().string()};
    what.logFile = folder_.path() / "log";
    process_ = XChildProcess::start(what);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (XWindow::numbers(server, "_NET_SUPPORTING_WM_CHECK").empty()) {
        viewerCheck(std::chrono::steady_clock::now() < end,
                    "the test's window manager does not become ready");
        ::poll(nullptr, 0, betweenLooks);
    }
}

WindowManager::~WindowManager() {
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "a window manager that was killed does not end");
}

}  // namespace velmora
