#include "core/capture/linux/wayland/outputs/ViewerOutputCopy.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <gtest/gtest.h>
#include <wayland-server.h>

#include <cstdint>
#include <memory>

#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"
#include "tests/support/wayland/ScriptedCompositor.h"
#include "tests/support/wayland/ScriptedImageCopy.h"

namespace velmora {
namespace {

/// A compositor with one output, and whether a copy of it is asked for.
class ViewerOutputCopyTest : public testing::Test {
  protected:
    ViewerOutputCopyTest() {
        compositor_.whenBound = [this] {
            compositor_.mode(true, 3, 2);
            compositor_.done();
        };
        compositor_.addOutput();
    }

    /// Adds a piece of the protocol that nobody may use.
    void addUnusable(const wl_interface& interface) {
        wl_global_create(
            compositor_.display(), &interface, 1, nullptr,
            [](wl_client*, void*, std::uint32_t, std::uint32_t) { ADD_FAILURE() << "it is used"; });
    }
    bool isAsked() {
        const auto connection =
            ViewerWaylandConnection::connect(compositor_.socketPath()).connection;
        const ViewerOutputReader reader(connection->display());
        while (!reader.isComplete() && connection->exchange()) {
            compositor_.pump();
        }
        const bool isAsked = ViewerOutputCopy::ask(reader, reader.outputs().at(0)) != nullptr;
        EXPECT_TRUE(connection->exchange());
        compositor_.pump();
        return isAsked;
    }

    ScriptedImageCopy script_;
    ScriptedCompositor compositor_{{4, 0}};
};

TEST_F(ViewerOutputCopyTest, ACompositorWithoutAnExtensionIsNotAsked) {
    EXPECT_FALSE(isAsked());
}

TEST_F(ViewerOutputCopyTest, HalfOfAnExtensionIsNone) {
    addUnusable(ext_output_image_capture_source_manager_v1_interface);
    EXPECT_FALSE(isAsked());
}

TEST_F(ViewerOutputCopyTest, TheOtherHalfIsNoneEither) {
    addUnusable(ext_image_copy_capture_manager_v1_interface);
    EXPECT_FALSE(isAsked());
}

TEST_F(ViewerOutputCopyTest, BothHalvesAreAskedForACopy) {
    script_.addTo(compositor_.display());
    EXPECT_TRUE(isAsked());
}

}  // namespace
}  // namespace velmora
