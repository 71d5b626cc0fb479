#include "tests/support/desktop/Descendants.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

extern "C" {  // which glibc 2.36 leaves to whoever includes it
#include <sys/pidfd.h>
}

namespace velmora {

namespace {

/// Readable once the process has ended.
bool hasEnded(int descriptor, std::chrono::milliseconds limit) {
    pollfd end{descriptor, POLLIN, 0};
    return ::poll(&end, 1, static_cast<int>(limit.count())) == 1;
}

}  // namespace

Descendants::~Descendants() {
    std::ranges::for_each(descriptors_, ::close);
}

void Descendants::awaitEnd(std::chrono::milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    for (const int each : descriptors_) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (!hasEnded(each, std::max(left, std::chrono::milliseconds::zero()))) {
            (void)::pidfd_send_signal(each, SIGKILL, nullptr, 0);  // It may end meanwhile.
            (void)hasEnded(each, limit);
        }
    }
}

void Descendants::add(pid_t parent) {
    const std::string id = std::to_string(parent);
    std::ifstream children("/proc/" + id + "/task/" + id + "/children");
    for (pid_t child = 0; children >> child;) {
        const int descriptor = ::pidfd_open(child, 0);
        if (descriptor >= 0) {
            descriptors_.push_back(descriptor);
            add(child);
        }
    }
}

}  // namespace velmora
