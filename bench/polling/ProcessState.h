#pragma once

#include <sys/types.h>

#include <cstddef>

namespace velmora::bench {

/// What a process holds at a moment. A plain value.
struct ProcessState final {
    /// REQUIRES: the process is one of this user's. All zeros where there is no such process.
    static ProcessState of(pid_t process);

    std::size_t descriptors = 0;
    std::size_t threads = 0;
    /// Resident memory in kibibytes: its own, of files, shared with others.
    double anonymous = 0;
    double ofFiles = 0;
    double shared = 0;
};

}  // namespace velmora::bench
