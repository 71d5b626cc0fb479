#include "app/linux/ViewerAlertProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "app/linux/ViewerAlertMessage.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/linux/ViewerDescriptorLimit.h"

namespace velmora {

namespace {

constexpr const char* programName = "VelmoraViewerHostAlert";
constexpr const char* installedFolder = "../libexec/velmora-viewer-host";
/// How long an end that nothing can resist may take: a busy machine, a disk that hangs.
constexpr std::chrono::milliseconds endPatience{1000};

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        // posix_spawn() changes nothing, although its type says so.
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// The program's descriptors: the socket as standard input, nothing to write to, and no other.
class SpawnActions final {
  public:
    explicit SpawnActions(int programsSide) {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_adddup2(&actions_, programsSide, STDIN_FILENO);
        ::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, STDOUT_FILENO, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    }
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_;
};

/// Every signal as a new process has it, and a session of its own: what a terminal sends to the
/// host's group is the host's to answer.
class SpawnAttributes final {
  public:
    SpawnAttributes() {
        sigset_t none;
        ::sigemptyset(&none);
        // sigfillset() leaves out the C library's own, which would then be ignored.
        sigset_t all;
        std::memset(&all, 0xff, sizeof all);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
    }
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_;
};

}  // namespace

std::filesystem::path ViewerAlertProcess::program() {
    std::error_code error;  // where the system does not say it, none will be found
    return programOf(std::filesystem::read_symlink("/proc/self/exe", error));
}

std::filesystem::path ViewerAlertProcess::programOf(const std::filesystem::path& host) {
    std::error_code error;  // what cannot be looked at is not there
    const auto folder = host.parent_path();
    auto beside = folder / programName;
    return std::filesystem::exists(beside, error) ? beside : folder / installedFolder / programName;
}

std::shared_ptr<ViewerAlertProcess> ViewerAlertProcess::start(
    boost::asio::io_context& loop, const std::filesystem::path& program, const ViewerAlert& alert,
    const ViewerAlertEnvironment::Variables& variables) {
    std::shared_ptr<ViewerAlertProcess> process(new ViewerAlertProcess(loop, variables));
    std::array<int, 2> sides{-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sides.data()) != 0) {
        return nullptr;
    }
    process->channel_ = sides[0];
    const bool isStarted = process->send(alert) && process->spawn(program, sides[1]);
    ::close(sides[1]);
    return isStarted ? process : nullptr;
}

ViewerAlertProcess::~ViewerAlertProcess() {
    if (end_.is_open()) {
        pollfd end{end_.native_handle(), POLLIN, 0};
        (void)::syscall(SYS_pidfd_send_signal, end.fd, SIGKILL, nullptr, 0);  // or it has ended
        // One that does not even end by that is left to the system.
        if (::poll(&end, 1, static_cast<int>(endPatience.count())) == 1) {
            (void)reap();  // its answer is not waited for any more
        }
    }
    ::close(channel_);
}

void ViewerAlertProcess::awaitEnd(Completion completion) {
    end_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                    ifAlive(weak_from_this(),
                            [completion = std::move(completion)](
                                ViewerAlertProcess& self, const boost::system::error_code& error) {
                                if (!error) {
                                    completion(self.reap());
                                }
                            }));
}

bool ViewerAlertProcess::send(const ViewerAlert& alert) {
    const auto message = ViewerAlertMessage(alert, environment_.privateFolder()).encoded();
    // Before there is a reader: a message that the socket cannot hold is none.
    return ::send(channel_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) ==
           static_cast<ssize_t>(message.size());
}

bool ViewerAlertProcess::spawn(const std::filesystem::path& program, int programsSide) {
    // A parent may have left it ignored, and then no answer would be kept.
    (void)std::signal(SIGCHLD, SIG_DFL);  // fails for no signal that there is
    const SpawnActions actions(programsSide);
    const SpawnAttributes attributes;
    const std::vector<std::string> arguments{program.string()};
    // Lowered here, since posix_spawn() sets no limits, and a limit that is set on the running
    // program comes when that has begun.
    const ViewerOriginalDescriptorLimit limit;
    pid_t id = -1;
    const int error =
        ::posix_spawn(&id, program.c_str(), actions.get(), attributes.get(),
                      pointersTo(arguments).data(), pointersTo(environment_.variables()).data());
    if (error != 0) {
        return false;
    }
    // By number: glibc 2.36 declares pidfd_open() with the linkage of C++.
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    boost::system::error_code failure;
    if (descriptor >= 0) {
        end_.assign(descriptor, failure);
    }
    if (descriptor < 0 || failure) {
        ::kill(id, SIGKILL);
        ::waitpid(id, nullptr, 0);
        return false;
    }
    return true;
}

std::optional<bool> ViewerAlertProcess::reap() {
    siginfo_t end{};
    const int result =
        ::waitid(P_PIDFD, static_cast<id_t>(end_.native_handle()), &end, WEXITED | WNOHANG);
    boost::system::error_code ignored;  // it is gone in any case
    end_.close(ignored);
    const bool isFirst = end.si_status == ViewerAlertMessage::firstButtonStatus;
    const bool isOther = end.si_status == ViewerAlertMessage::otherButtonStatus;
    const bool isAnswered = result == 0 && end.si_code == CLD_EXITED && (isFirst || isOther);
    return isAnswered ? std::optional(isFirst) : std::nullopt;
}

}  // namespace velmora
