#include "viewerctl/ViewerBrowser.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <utility>

namespace velmora {

ViewerBrowser::ViewerBrowser(boost::asio::io_context& loop) : ended_(loop, SIGCHLD) {}

void ViewerBrowser::open(std::string path, std::function<void()> whenFailed) {
    whenFailed_ = std::move(whenFailed);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    // A session of its own, so that no Ctrl-C of this program's terminal ends it.
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    std::string program = "xdg-open";
    const std::array<char*, 3> arguments{program.data(), path.data(), nullptr};
    const int failure =
        ::posix_spawnp(&opener_, program.c_str(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure == 0) {
        awaitEnd();
    } else {
        whenFailed_();
    }
}

void ViewerBrowser::awaitEnd() {
    ended_.async_wait([this](boost::system::error_code error, int) {
        int status = 0;
        if (error) {
            return;
        }
        if (::waitpid(opener_, &status, WNOHANG) == 0) {
            awaitEnd();
        } else if (status != 0) {
            whenFailed_();
        }
    });
}

}  // namespace velmora
