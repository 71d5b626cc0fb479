#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"

#include <gtest/gtest.h>
#include <wayland-server.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include <cstdint>
#include <optional>
#include <utility>

#include "tests/capture/linux/wayland/outputs/OutputsOnLoop.h"
#include "tests/support/wayland/ScriptedCompositor.h"

namespace velmora {
namespace {

using Versions = ScriptedCompositor::Versions;

/// A compositor of some age, and what is made of the one output that it tells of.
class ScriptedOutput final {
  public:
    explicit ScriptedOutput(Versions versions)
        : compositor(versions), loop_(compositor.socketPath(), [this] { compositor.pump(); }) {
        EXPECT_TRUE(loop_.until([&] { return loop_.current() != nullptr; }));
        compositor.addOutput();
        EXPECT_TRUE(loop_.until([&] {
            return compositor.isBound() && (versions.xdgOutput == 0 || compositor.isXdgBound());
        }));
    }

    /// What is known once everything that was told has arrived.
    std::optional<ViewerWaylandOutput> known() {
        compositor.pump();
        const ViewerOutputs::Current current = loop_.current();
        return current->outputs.empty() ? std::nullopt : std::optional(current->outputs.front());
    }
    std::size_t count() {
        compositor.pump();
        return loop_.current()->outputs.size();
    }
    /// Whether the compositor has nothing to object to once it has taken in what was asked.
    bool isConnected() {
        compositor.pump();
        (void)loop_.current();
        compositor.pump();
        return loop_.current() != nullptr;
    }
    /// Everything that an output of the fourth version tells, but its end mark.
    void tellModern() {
        compositor.geometry(7, 7, "Maker", "Model", 0);
        compositor.mode(true, 1920, 1080);
        compositor.mode(false, 640, 480);
        compositor.scale(1);
        compositor.name("DP-1");
    }

    ScriptedCompositor compositor;

  private:
    OutputsOnLoop loop_;
};

TEST(ViewerOutputReader, AnOutputIsKnownOnceAllOfItWasTold) {
    ScriptedOutput output({4, 3});
    output.tellModern();
    output.compositor.xdgPosition(100, 200);
    output.compositor.xdgSize(1920, 1080);
    EXPECT_FALSE(output.known());
    output.compositor.done();
    const auto known = output.known();
    ASSERT_TRUE(known);
    EXPECT_EQ(output.compositor.boundVersion(), 4);
    EXPECT_EQ(known->connector, "DP-1");
    EXPECT_EQ(known->make, "Maker");
    EXPECT_EQ(known->model, "Model");
    EXPECT_EQ(known->mode, (ViewerWaylandOutput::PixelSize{1920, 1080}));
    EXPECT_EQ(known->position, (ViewerLogicalPosition{100, 200}));
    EXPECT_EQ(known->logicalSize, (ViewerLogicalSize{1920, 1080}));
}

TEST(ViewerOutputReader, AChangeCountsAsAWhole) {
    ScriptedOutput output({4, 3});
    output.tellModern();
    output.compositor.xdgPosition(0, 0);
    output.compositor.xdgSize(1920, 1080);
    output.compositor.done();
    const auto before = output.known();
    output.compositor.geometry(0, 0, "Maker", "Model", 1);
    output.compositor.xdgSize(1080, 1920);
    EXPECT_EQ(output.known(), before);
    output.compositor.done();
    const auto after = output.known();
    ASSERT_TRUE(after);
    EXPECT_EQ(after->seenSize(), (ViewerWaylandOutput::PixelSize{1080, 1920}));
    EXPECT_EQ(after->logicalSize, (ViewerLogicalSize{1080, 1920}));
}

TEST(ViewerOutputReader, AnOlderExtensionSaysItselfWhenItHasToldAll) {
    ScriptedOutput output({2, 2});
    output.compositor.geometry(0, 0, "Maker", "Model", 0);
    output.compositor.mode(true, 2560, 1440);
    output.compositor.done();
    EXPECT_FALSE(output.known());
    output.compositor.xdgPosition(10, 20);
    output.compositor.xdgSize(1280, 720);
    output.compositor.xdgName("HDMI-A-1");
    EXPECT_FALSE(output.known());
    output.compositor.xdgDone();
    const auto known = output.known();
    ASSERT_TRUE(known);
    EXPECT_EQ(known->connector, "HDMI-A-1");
    EXPECT_EQ(known->position, (ViewerLogicalPosition{10, 20}));
    EXPECT_EQ(known->logicalSize, (ViewerLogicalSize{1280, 720}));
}

TEST(ViewerOutputReader, AnOlderExtensionsEndMarkSaysNothingOfTheOutputItself) {
    ScriptedOutput output({2, 2});
    output.compositor.geometry(0, 0, "Maker", "Model", 0);
    output.compositor.mode(true, 1920, 1080);
    output.compositor.xdgPosition(0, 0);
    output.compositor.xdgSize(1920, 1080);
    output.compositor.xdgDone();
    output.compositor.done();
    output.compositor.mode(true, 800, 600);
    output.compositor.xdgSize(800, 600);
    output.compositor.xdgDone();
    ASSERT_TRUE(output.known());
    EXPECT_EQ(output.known()->mode, (ViewerWaylandOutput::PixelSize{1920, 1080}));
    EXPECT_EQ(output.known()->logicalSize, (ViewerLogicalSize{800, 600}));
}

TEST(ViewerOutputReader, ANewerExtensionsEndMarkSaysNothing) {
    ScriptedOutput output({4, 3});
    output.tellModern();
    output.compositor.xdgPosition(0, 0);
    output.compositor.xdgSize(1920, 1080);
    output.compositor.done();
    output.compositor.xdgPosition(100, 200);
    output.compositor.xdgDone();
    ASSERT_TRUE(output.known());
    EXPECT_EQ(output.known()->position, (ViewerLogicalPosition{0, 0}));
    output.compositor.done();
    EXPECT_EQ(output.known()->position, (ViewerLogicalPosition{100, 200}));
}

TEST(ViewerOutputReader, OfTwoExtensionsOfOneKindTheFirstIsAsked) {
    ScriptedOutput output({4, 3});
    bool isAsked = false;
    wl_global_create(output.compositor.display(), &zxdg_output_manager_v1_interface, 3, &isAsked,
                     [](wl_client*, void* data, std::uint32_t, std::uint32_t) {
                         *static_cast<bool*>(data) = true;
                     });
    EXPECT_EQ(output.count(), 0U);
    output.compositor.pump();
    EXPECT_FALSE(isAsked);
}

TEST(ViewerOutputReader, WithoutTheExtensionTheOutputTellsItsPlaceItself) {
    ScriptedOutput output({3, 0});
    output.compositor.geometry(30, 40, "Maker", "Model", 3);
    output.compositor.mode(true, 3840, 2160);
    output.compositor.scale(2);
    output.compositor.done();
    const auto known = output.known();
    ASSERT_TRUE(known);
    EXPECT_EQ(known->position, (ViewerLogicalPosition{30, 40}));
    EXPECT_EQ(known->logicalSize, (ViewerLogicalSize{1080, 1920}));
    EXPECT_EQ(known->connector, "");
}

TEST(ViewerOutputReader, TheFirstVersionKnowsNoEndMarks) {
    ScriptedOutput output({1, 0});
    output.compositor.geometry(0, 0, "Maker", "Model", 0);
    EXPECT_FALSE(output.known());
    output.compositor.mode(true, 1024, 768);
    ASSERT_TRUE(output.known());
    EXPECT_EQ(output.known()->logicalSize, (ViewerLogicalSize{1024, 768}));
    output.compositor.geometry(0, 0, "Maker", "Model", 1);
    EXPECT_EQ(output.known()->logicalSize, (ViewerLogicalSize{768, 1024}));
}

TEST(ViewerOutputReader, OfTheFirstVersionEachWordOfTheExtensionCountsAtOnce) {
    ScriptedOutput output({1, 3});
    output.compositor.geometry(0, 0, "Maker", "Model", 0);
    output.compositor.mode(true, 1024, 768);
    output.compositor.xdgPosition(10, 20);
    EXPECT_FALSE(output.known());
    output.compositor.xdgSize(512, 384);
    ASSERT_TRUE(output.known());
    EXPECT_EQ(output.known()->logicalSize, (ViewerLogicalSize{512, 384}));
    output.compositor.xdgPosition(30, 40);
    EXPECT_EQ(output.known()->position, (ViewerLogicalPosition{30, 40}));
    output.compositor.xdgName("VGA-1");
    EXPECT_EQ(output.known()->connector, "VGA-1");
}

TEST(ViewerOutputReader, NonsenseIsNoOutput) {
    ScriptedOutput output({4, 3});
    output.compositor.geometry(0, 0, "Maker", "Model", 77);
    output.compositor.mode(true, 0, 480);
    output.compositor.scale(0);
    output.compositor.xdgPosition(0, 0);
    output.compositor.xdgSize(0, 0);
    output.compositor.done();
    EXPECT_FALSE(output.known());
    output.compositor.mode(true, 640, -1);
    output.compositor.done();
    EXPECT_FALSE(output.known());
    output.compositor.mode(true, 640, 0);
    output.compositor.done();
    EXPECT_FALSE(output.known());
    output.compositor.mode(true, 1, 1);
    output.compositor.done();
    ASSERT_TRUE(output.known());
    for (const std::int32_t transform : {-1, 8, 77}) {
        output.compositor.geometry(0, 0, "Maker", "Model", transform);
        output.compositor.done();
        EXPECT_EQ(output.known()->transform, 0) << transform;
    }
}

TEST(ViewerOutputReader, AScaleThatIsNoneCountsAsOne) {
    ScriptedOutput output({3, 0});
    output.compositor.geometry(0, 0, "Maker", "Model", 0);
    output.compositor.mode(true, 640, 480);
    output.compositor.scale(0);
    output.compositor.done();
    ASSERT_TRUE(output.known());
    EXPECT_EQ(output.known()->logicalSize, (ViewerLogicalSize{640, 480}));
}

TEST(ViewerOutputReader, AnOutputThatGoesIsGivenBack) {
    for (const Versions versions : {Versions{4, 3}, Versions{3, 0}}) {
        ScriptedOutput output(versions);
        output.compositor.removeOutput();
        EXPECT_TRUE(output.isConnected());
        EXPECT_FALSE(output.compositor.isBound());
        EXPECT_FALSE(output.compositor.isXdgBound());
    }
}

TEST(ViewerOutputReader, AnOlderCompositorIsNotToldWhatItDoesNotKnow) {
    ScriptedOutput output({2, 0});
    output.compositor.removeOutput();
    EXPECT_EQ(output.count(), 0U);
    EXPECT_TRUE(output.isConnected());
}

TEST(ViewerOutputReader, AnOutputThatGoesIsForgotten) {
    ScriptedOutput output({4, 3});
    output.tellModern();
    output.compositor.xdgPosition(0, 0);
    output.compositor.xdgSize(1920, 1080);
    output.compositor.done();
    EXPECT_EQ(output.count(), 1U);
    output.compositor.removeOutput();
    EXPECT_EQ(output.count(), 0U);
}

}  // namespace
}  // namespace velmora
