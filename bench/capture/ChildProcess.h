#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::bench {

/// A program that is measured: started by this object, ended with it, and with the benchmark
/// however that ends. Its standard output is a pipe; what it reads is empty and its standard error
/// is dropped. One thread.
class ChildProcess final {
  public:
    /// The first argument is the program. Stops the benchmark when there is none of that name.
    explicit ChildProcess(const std::vector<std::string>& arguments);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t id() const { return id_; }

    /// What of its output comes by the deadline, at most as much as a read brings: empty when
    /// nothing came.
    std::string read(std::chrono::steady_clock::time_point deadline);
    /// The next line of its output that begins so, without that. Stops the benchmark when none
    /// comes within 30 seconds.
    std::string awaitLine(const std::string& beginning);

    std::chrono::nanoseconds processorTime() const;
    /// Resident memory, shared pages included.
    double residentMegabytes() const;
    /// How often the threads that the process has went to sleep to wait for something.
    std::int64_t waits() const;

  private:
    [[noreturn]] static void become(char* const* arguments, int output);

    pid_t id_ = -1;
    int output_ = -1;
};

}  // namespace velmora::bench
