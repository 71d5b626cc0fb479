#include "tests/http/linux/RefusedRegistration.h"

#include <sys/epoll.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> toRefuse{0};

}  // namespace

// The linker puts this before every call of epoll_ctl in the program's own code, and it asks for
// these names. NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __real_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event);
extern "C" int __wrap_epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) {
    if (operation == EPOLL_CTL_ADD && toRefuse > 0) {
        --toRefuse;
        errno = ENOSPC;
        return -1;
    }
    return __real_epoll_ctl(epoll, operation, descriptor, event);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace velmora {

void refuseRegistrations(int count) {
    toRefuse = count;
}

int registrationsToRefuse() {
    return toRefuse;
}

}  // namespace velmora
