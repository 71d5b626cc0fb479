#include "tests/support/x11/XAuthority.h"

#include <stdlib.h>

#include "core/runtime/ViewerCheck.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

std::string XAuthority::makeUntrusted(const XServer& server) {
    const std::string file = server.authorityFile() + "-untrusted";
    XChildProcess::Start what;
    what.arguments = {"xauth", "-f",        file,      "generate", server.displayName(),
                      ".",     "untrusted", "timeout", "0"};
    what.environment = {"XAUTHORITY=" + server.authorityFile()};
    what.logFile = file + ".log";
    int status = 0;
    const bool hasEnded =
        XChildProcess::waitForEnd(XChildProcess::start(what), X11Waiting::patience, status);
    viewerCheck(hasEnded && status == 0, "xauth makes no authority for untrusted clients");
    return file;
}

void XAuthority::use(const std::string& file) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the caller sees to it.
    const int result = ::setenv("XAUTHORITY", file.c_str(), 1);
    viewerCheck(result == 0, "the environment takes no variable");
}

}  // namespace velmora
