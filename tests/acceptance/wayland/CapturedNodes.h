#pragma once

#include <cstddef>

#include "tests/support/desktop/DesktopSession.h"

namespace velmora {

/// What a session's PipeWire does at a moment. A plain value.
struct CapturedNodes final {
    /// Looks at it as its own tools do. Stops the test's process when it does not answer.
    static CapturedNodes of(DesktopSession& session);

    /// The links, by which frames go from a screen to a program.
    std::size_t links = 0;
    /// The nodes, of screens and of programs, that work.
    std::size_t runningNodes = 0;
    /// The nodes that may read of one other node alone and, when that goes, of none.
    std::size_t boundNodes = 0;
    /// All nodes that are there.
    std::size_t nodes = 0;

    /// Takes all links away, as a tool of PipeWire's does it for who administers it.
    static void unlink(DesktopSession& session);
};

}  // namespace velmora
