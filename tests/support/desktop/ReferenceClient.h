#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/desktop/DesktopSession.h"

namespace velmora {

/// A stream that a portal granted, and one frame of it. A plain value.
struct SeenStream final {
    /// What the portal tells of it, as JSON.
    std::string facts;
    int width = 0;
    int height = 0;
    /// The frame's corners and its middle, 0xRRGGBB.
    std::vector<std::uint32_t> colours;

    /// Whether the frame has one colour, as far as is looked at.
    bool isAll(std::uint32_t colour) const;
    friend std::ostream& operator<<(std::ostream& stream, const SeenStream& seen);
};

/// What a portal answered somebody else than the host. A plain value.
struct SeenAnswer final {
    /// 0 is a grant, 1 the person's refusal, 2 a failure.
    int status = -1;
    std::vector<SeenStream> streams;
};

/// Asks a desktop's portal for its screens as another program does, with GStreamer, and looks at
/// one frame of each. Meanwhile `nudge` runs again and again: of a still screen on a compositor of
/// wlroots' such a program may get no frame. Stops the test's process when that does not end.
SeenAnswer askAsAnotherProgram(DesktopSession& session, const std::function<void()>& nudge = [] {});

}  // namespace velmora
