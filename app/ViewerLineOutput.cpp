#include "app/ViewerLineOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace velmora {

namespace {

/// Whether a write would not block. Looked at first, so that a pipe that nobody reads or a stopped
/// terminal cannot hold the process.
bool awaitRoom(int descriptor, std::chrono::milliseconds patience) {
    pollfd waited{descriptor, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waited, 1, static_cast<int>(patience.count()));
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

}  // namespace

void writeLine(int descriptor, std::string_view line, std::chrono::milliseconds patience) {
    const std::string text = std::string(line) + '\n';
    std::string_view rest = text;
    while (!rest.empty() && awaitRoom(descriptor, patience)) {
        const ssize_t written = ::write(descriptor, rest.data(), rest.size());
        if (written > 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            return;
        }
    }
}

}  // namespace velmora
