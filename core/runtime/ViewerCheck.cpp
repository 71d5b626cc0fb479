#include "core/runtime/ViewerCheck.h"

#include <cstdio>
#include <cstdlib>

namespace velmora {

void viewerCheck(bool holds, const char* reason) {
    if (holds) {
        return;
    }
    (void)std::fprintf(stderr, "Velmora Viewer Host: %s\n", reason);  // the process ends next
    std::abort();
}

}  // namespace velmora
