#include "tests/support/system/PrivateNetwork.h"

#include <fcntl.h>
#include <net/if.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

void writeFile(const char* path, const std::string& text) {
    std::ofstream(path) << text;
}

/// Enters namespaces of the process's own: also as an ordinary user, who is then alone in one.
bool enterNamespaces() {
    if (::unshare(CLONE_NEWNET | CLONE_NEWUTS) == 0) {
        return true;
    }
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWUTS) != 0) {
        return false;
    }
    writeFile("/proc/self/setgroups", "deny");
    writeFile("/proc/self/uid_map", user + " " + user + " 1");
    writeFile("/proc/self/gid_map", group + " " + group + " 1");
    return true;
}

void bringLoopbackUp() {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, "lo", sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const int result = ::ioctl(descriptor, SIOCSIFFLAGS, &request);
    viewerCheck(result == 0, "a network of one's own has a loopback that can be brought up");
    ::close(descriptor);
}

void awaitTurn() {
    const auto path = std::filesystem::temp_directory_path() / "velmora-viewer-host-port-9090.lock";
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    // Held until the process ends.
    const bool isLocked = descriptor >= 0 && ::flock(descriptor, LOCK_EX) == 0;
    viewerCheck(isLocked, "the temporary folder takes a lock file");
}

}  // namespace

PrivateNetwork::PrivateNetwork() {
    if (enterNamespaces()) {
        bringLoopbackUp();
    } else {
        awaitTurn();
    }
}

}  // namespace velmora
