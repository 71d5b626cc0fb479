#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"

#include <gtest/gtest.h>

#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "tests/support/wayland/ScriptedCompositor.h"

namespace velmora {
namespace {

TEST(ViewerWaylandConnection, WhatComesAfterTheCompositorsObjectionIsNotTakenIn) {
    ScriptedCompositor compositor({4, 0});
    compositor.addOutput();
    const auto connection = ViewerWaylandConnection::connect(compositor.socketPath()).connection;
    const ViewerOutputReader reader(connection->display());
    while (!compositor.isBound() && connection->exchange()) {
        compositor.pump();
    }
    compositor.objectToClient();
    compositor.mode(true, 640, 480);
    compositor.done();
    compositor.pump();
    EXPECT_FALSE(connection->exchange());
    EXPECT_FALSE(connection->exchange());
    EXPECT_TRUE(reader.outputs().empty());
}

}  // namespace
}  // namespace velmora
