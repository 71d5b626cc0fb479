#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"
#include "tests/support/wayland/ScriptedCompositor.h"

namespace velmora {

/// A scripted compositor with one output of 3 × 2 pixels, of which copies are asked for.
class ScriptedCopyTest : public testing::Test {
  protected:
    using Pixels = std::vector<std::uint32_t>;

    ScriptedCopyTest() {
        compositor_.whenBound = [this] { tellOutput(0); };
    }

    /// Adds the output, and learns of it as the host does. After the extension was added.
    ViewerWaylandOutput addOutput();
    /// Tells the output, turned so, to who listens to it.
    void tellOutput(std::int32_t transform);
    /// The copy's pixels, row by row; nothing when there is none.
    Pixels copyOf(const ViewerWaylandOutput& output);

    ScriptedCompositor compositor_{{4, 0}};
};

}  // namespace velmora
