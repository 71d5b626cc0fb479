#include "tests/support/x11/XChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/runtime/ViewerCheck.h"

namespace velmora::XChildProcess {

namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> withOwnEnvironment(const std::vector<std::string>& additions) {
    // Of two entries of one name the first one counts.
    std::vector<std::string> result = additions;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        result.emplace_back(*entry);
    }
    return result;
}

/// Between fork and exec only calls that are safe in a signal handler are allowed.
[[noreturn]] void become(const std::vector<char*>& arguments, const std::vector<char*>& environment,
                         int log, int inherited) {
    constexpr int commandFailed = 127;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    if (inherited >= 0) {
        ::fcntl(inherited, F_SETFD, 0);
    }
    ::execvpe(arguments.front(), arguments.data(), environment.data());
    ::_exit(commandFailed);
}

}  // namespace

pid_t start(const Start& what) {
    const std::vector<std::string> environment = withOwnEnvironment(what.environment);
    const std::vector<char*> argumentPointers = pointersTo(what.arguments);
    const std::vector<char*> environmentPointers = pointersTo(environment);
    const int log =
        ::open(what.logFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR);
    viewerCheck(log >= 0, "a command's log file cannot be opened");
    const pid_t process = ::fork();
    viewerCheck(process >= 0, "a command cannot be started");
    if (process == 0) {
        become(argumentPointers, environmentPointers, log, what.inherited);
    }
    ::close(log);
    return process;
}

bool waitForEnd(pid_t process, std::chrono::milliseconds limit, int& status) {
    // By number: glibc 2.36 declares pidfd_open() with the linkage of C++.
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    viewerCheck(descriptor >= 0, "a command that was started cannot be waited for");
    pollfd ended{descriptor, POLLIN, 0};
    const bool hasEnded = ::poll(&ended, 1, static_cast<int>(limit.count())) == 1;
    ::close(descriptor);
    return hasEnded && ::waitpid(process, &status, 0) == process;
}

}  // namespace velmora::XChildProcess
