#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// How a host is started. The environment is the whole one; nothing is inherited.
struct HostLaunch final {
    /// Captured, not there at all, a disk without room, or a pipe whose reader is gone.
    enum class Output { captured, closed, full, broken };

    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
    Output output = Output::captured;
    /// Whether standard error is a terminal of the test's.
    bool isOnTerminal = false;
    /// The program's own path as it is told to it.
    std::string name = "VelmoraViewerHost";
    /// How many descriptors it may have; the test's own limits where it is not said.
    std::optional<rlimit> descriptors;
    /// Another program than the one that was built.
    std::optional<std::string> program;
};

/// The same, started by another program, which gets these arguments before the host's program and
/// arguments and becomes it.
HostLaunch startedBy(const std::string& program, std::vector<std::string> arguments,
                     const HostLaunch& launch);
/// The same in the folder HOME, where a dump of what crashes is allowed and would be found.
HostLaunch leavingDumps(const HostLaunch& launch);

/// How a process ended.
struct HostEnd final {
    friend bool operator==(const HostEnd&, const HostEnd&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const HostEnd& end);

    /// The exit status, or nothing when a signal ended it.
    std::optional<int> status;
    int signal = 0;
};

inline const HostEnd endedInOrder{0, 0};

/// The real program, started by a test and ended with it. The test fails if the program has written
/// anything to standard error that is not a terminal. One thread.
class HostProcess final {
  public:
    explicit HostProcess(const HostLaunch& launch);
    ~HostProcess();
    HostProcess(const HostProcess&) = delete;
    HostProcess& operator=(const HostProcess&) = delete;

    pid_t id() const { return id_; }
    void signal(int number) const;

    /// The next line of standard output without its line feed; nothing at its end or when none
    /// comes in time.
    std::optional<std::string> readLine();
    /// What is left of standard output until the process ends.
    std::string readToEnd();
    /// What is left of what was written to the terminal. For a process that has ended.
    std::string readTerminal() const;
    /// Waits for the process to end; nothing when it does not within `limit`.
    std::optional<HostEnd> awaitEnd(std::chrono::milliseconds limit = generousLimit);

    /// Whether SIGTERM has lost its own effect on the process.
    bool ignoresSignals() const;
    std::size_t descriptors() const;
    /// What an open descriptor stands for.
    std::string descriptorTarget(int descriptor) const;
    /// The processes that it has started and not yet forgotten.
    std::vector<pid_t> children() const;
    std::size_t threads() const;
    /// Those whose name begins so.
    std::size_t threadsNamed(std::string_view beginning) const;
    std::size_t residentBytes() const;
    /// Of all threads since the start.
    std::chrono::microseconds processorTime() const;

    static constexpr std::chrono::seconds generousLimit{30};

  private:
    std::string standardError() const;
    [[noreturn]] static void becomeHost(const HostLaunch& launch, int output, int error);

    pid_t id_ = -1;
    int idDescriptor_ = -1;
    int output_ = -1;
    int error_ = -1;
    /// The test's side of the terminal; -1 without one.
    int terminal_ = -1;
    std::string unread_;
    std::optional<HostEnd> end_;
};

}  // namespace velmora
