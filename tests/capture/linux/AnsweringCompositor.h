#pragma once

#include <gtest/gtest.h>

#include <string>

#include "core/capture/linux/ViewerWaylandSockets.h"
#include "tests/support/desktop/HeadlessCompositor.h"

namespace velmora {

/// A compositor that is past its start: one whose socket is just there may take its time to answer.
/// One thread.
class AnsweringCompositor final {
  public:
    AnsweringCompositor() {
        constexpr int tries = 10;
        for (int i = 0; i < tries && !isAnswering(); ++i) {
        }
        EXPECT_TRUE(isAnswering());
    }

    /// The path of its socket.
    const std::string& displayName() const { return compositor_.displayName(); }
    void kill() { compositor_.kill(); }

  private:
    bool isAnswering() const { return !ViewerWaylandSockets::answering({displayName()}).empty(); }

    HeadlessCompositor compositor_;
};

}  // namespace velmora
