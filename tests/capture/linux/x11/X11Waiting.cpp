#include "tests/capture/linux/x11/X11Waiting.h"

#include <filesystem>
#include <fstream>
#include <thread>

namespace velmora {

namespace {

constexpr const char* threadFolder = "/proc/self/task";

}  // namespace

void X11Waiting::untilNoticesAreSent(const XServer& server) {
    (void)server.connect();  // Comes and goes.
}

bool X11Waiting::until(const std::function<bool()>& holds) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

int X11Waiting::threadsNamed(const std::string& name) {
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator(threadFolder)) {
        // A thread that ended meanwhile has no name to read.
        std::string found;
        std::ifstream file(thread.path() / "comm");
        std::getline(file, found);
        count += found == name ? 1 : 0;
    }
    return count;
}

}  // namespace velmora
