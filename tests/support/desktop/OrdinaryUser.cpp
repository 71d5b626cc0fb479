#include "tests/support/desktop/OrdinaryUser.h"

#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "core/runtime/ViewerCheck.h"

namespace velmora::OrdinaryUser {

void become() {
    /// The user "nobody" and the group "nogroup", by number.
    constexpr unsigned nobody = 65'534;
    if (::geteuid() != 0) {
        return;
    }
    const bool isDropped = ::setgroups(0, nullptr) == 0 &&
                           ::setresgid(nobody, nobody, nobody) == 0 &&
                           ::setresuid(nobody, nobody, nobody) == 0;
    viewerCheck(isDropped, "a test cannot become an ordinary user");
    // Whoever changes, cannot look at its own files in /proc.
    (void)::prctl(PR_SET_DUMPABLE, 1);
}

}  // namespace velmora::OrdinaryUser
