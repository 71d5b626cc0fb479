#include "core/runtime/ViewerCheck.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace velmora {

namespace {

/// Guards `output`. Taken for good by the check that ends the process, so that what it writes to
/// stays open.
std::mutex telling;
int output = STDERR_FILENO;

}  // namespace

void viewerCheck(bool holds, const char* reason) {
    if (holds) {
        return;
    }
    const std::lock_guard<std::mutex> guard(telling);
    (void)::dprintf(output, "Velmora Viewer Host: %s\n", reason);  // the process ends next
    std::abort();
}

void tellViewerChecksTo(int descriptor) {
    const std::lock_guard<std::mutex> guard(telling);
    output = descriptor;
}

}  // namespace velmora
