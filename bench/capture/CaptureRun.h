#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "bench/capture/Painter.h"

namespace velmora::bench {

/// What a run of the benchmark works with.
struct CaptureRun final {
    /// Before anything is measured, so that what is measured lasts.
    static constexpr std::chrono::seconds warmUp{1};
    /// A span that is measured: shorter than the host captures without a request.
    static constexpr std::chrono::seconds window{4};

    std::string hostProgram;
    pid_t server;
    std::size_t rounds;
    Painter painter;
};

}  // namespace velmora::bench
