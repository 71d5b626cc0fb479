#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/acceptance/wayland/WaylandHost.h"
#include "tests/support/desktop/MutterDesktop.h"
#include "tests/support/desktop/SwayDesktop.h"

namespace velmora {

inline constexpr std::uint32_t red = 0xc02020;
inline constexpr std::uint32_t green = 0x20c020;

/// Two monitors beside each other that differ in nothing but what they show: red on the left, green
/// on the right.
std::vector<DesktopOutput> equalMonitors();

/// The display that shows a colour, once exactly one does: a compositor may let what was painted
/// come into view slowly. Empty when that does not happen in time.
std::string idOf(std::uint32_t colour);
/// Whether a frame of that display comes, and has that colour.
bool shows(const std::string& id, std::uint32_t colour);
bool isRefused(const std::string& id);
bool nothingIsListed();

/// A host on a mutter, behind a portal whose answers are scripted. It is not started yet.
class MutterHostTest : public testing::Test {
  protected:
    MutterHostTest() : MutterHostTest(equalMonitors()) {}
    explicit MutterHostTest(const std::vector<DesktopOutput>& monitors) : desktop_(monitors) {}

    void serve() { ASSERT_EQ(host_.serve(), listeningLine); }

    MutterDesktop desktop_;
    PortalBackend& backend_ = desktop_.backend();
    WaylandHost host_{desktop_.session()};
};

/// A host on a sway, whose own portal backend casts and a script answers.
class SwayHostTest : public testing::Test {
  protected:
    SwayHostTest() : SwayHostTest(equalMonitors()) {}
    explicit SwayHostTest(const std::vector<DesktopOutput>& outputs)
        : desktop_(outputs, SwayDesktop::Answers::scripted) {}

    void serve() { ASSERT_EQ(host_.serve(), listeningLine); }

    SwayDesktop desktop_;
    PortalBackend& backend_ = desktop_.backend();
    WaylandHost host_{desktop_.session()};
};

}  // namespace velmora
