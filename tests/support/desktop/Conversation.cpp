#include "tests/support/desktop/Conversation.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

int openPipe(const std::filesystem::path& path) {
    const bool isMade = ::mkfifo(path.c_str(), S_IRUSR | S_IWUSR) == 0;
    // Both ways, so that it needs nobody on its other side.
    const int descriptor = isMade ? ::open(path.c_str(), O_RDWR | O_CLOEXEC) : -1;
    viewerCheck(descriptor >= 0, "a test can have a pipe with a name");
    return descriptor;
}

}  // namespace

Conversation::Conversation(const std::filesystem::path& folder, const std::string& name)
    : toProgram_(folder / (name + ".in")),
      fromProgram_(folder / (name + ".out")),
      input_(openPipe(toProgram_)),
      output_(openPipe(fromProgram_)) {}

Conversation::~Conversation() {
    ::close(input_);
    ::close(output_);
}

std::vector<std::string> Conversation::joinedBy(const std::vector<std::string>& command) const {
    std::vector<std::string> joined{
        "sh", "-c", R"(i=$1 o=$2; shift 2; exec "$@" <"$i" >"$o")", "sh", toProgram_, fromProgram_};
    joined.insert(joined.end(), command.begin(), command.end());
    return joined;
}

void Conversation::say(const std::string& line) {
    const std::string bytes = line + '\n';
    const bool isSaid = ::write(input_, bytes.data(), bytes.size()) == std::ssize(bytes);
    viewerCheck(isSaid, "a program of a test can be told something");
}

std::optional<std::string> Conversation::hear(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::size_t length = unread_.find('\n');
    while (length == std::string::npos) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd ready{output_, POLLIN, 0};
        if (left.count() < 0 || ::poll(&ready, 1, static_cast<int>(left.count())) != 1) {
            return std::nullopt;
        }
        std::array<char, 4096> bytes;
        const ssize_t count = ::read(output_, bytes.data(), bytes.size());
        unread_.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        length = unread_.find('\n');
    }
    std::string line = unread_.substr(0, length);
    unread_.erase(0, length + 1);
    return line;
}

}  // namespace velmora
