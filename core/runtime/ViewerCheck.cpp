#include "core/runtime/ViewerCheck.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace velmora {

namespace {

std::atomic<int> output{STDERR_FILENO};

}  // namespace

void viewerCheck(bool holds, const char* reason) {
    if (holds) {
        return;
    }
    (void)::dprintf(output, "Velmora Viewer Host: %s\n", reason);  // the process ends next
    std::abort();
}

void tellViewerChecksTo(int descriptor) {
    output = descriptor;
}

}  // namespace velmora
