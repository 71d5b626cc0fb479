#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace velmora {

/// The processes that stand behind a test's X server. Any thread.
namespace XChildProcess {

/// How a command is started. A plain value.
struct Start final {
    std::vector<std::string> arguments;
    /// "NAME=value", in addition to the test's own environment.
    std::vector<std::string> environment;
    /// Receives standard output and standard error.
    std::string logFile;
    /// Stays open in the command; -1 for none. Every other descriptor is closed on exec.
    int inherited = -1;
};

/// Starts a command, which is killed when the calling thread ends. Stops the process when it cannot
/// be started; a command that does not exist ends with status 127.
pid_t start(const Start& what);

/// Waits until the process has ended and forgets it. False when that takes longer than `limit`.
bool waitForEnd(pid_t process, std::chrono::milliseconds limit, int& status);

}  // namespace XChildProcess

}  // namespace velmora
