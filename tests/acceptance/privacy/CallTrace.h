#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/system/HostProcess.h"

namespace velmora {

/// One system call of a traced process, in the order of what the processes have seen of each other.
struct TracedCall final {
    std::string name;
    /// What strace tells of its arguments: descriptors with what they stand for, texts as they are.
    std::string arguments;
    /// Negative for a failure.
    long result = 0;
    /// When it was told of, in seconds.
    double time = 0;

    /// Everything in quotation marks among the arguments, one behind the other.
    std::string texts() const;
    /// The number of the socket that it is about, the same whatever its descriptor; empty for none.
    std::string socket() const;
};

/// The same launch, watched by strace, with what it starts: the process is the host's all the same.
HostLaunch tracedInto(const std::filesystem::path& file, const HostLaunch& launch);
/// The calls of a launch whose processes have ended.
std::vector<TracedCall> callsIn(const std::filesystem::path& file);

}  // namespace velmora
