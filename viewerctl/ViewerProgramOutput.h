#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// What another program told. A plain value.
struct ViewerProgramOutput final {
    /// Runs a program, found as a shell finds it, and waits for its end; blocks for as long as
    /// `limit` at most, after which the program is killed. Nothing where it cannot be started or
    /// does not end in time.
    static std::optional<ViewerProgramOutput> of(std::vector<std::string> command,
                                                 std::chrono::milliseconds limit);

    /// -1 where a signal ended it.
    int status = -1;
    /// The beginning of its standard output, without the line feed at its end.
    std::string text;
};

}  // namespace velmora
