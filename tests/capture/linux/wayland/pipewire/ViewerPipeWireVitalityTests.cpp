#include "core/capture/linux/wayland/pipewire/ViewerPipeWireVitality.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

using State = ViewerPipeWireVitality::State;
using Instant = ViewerPipeWireVitality::Instant;
using std::chrono::milliseconds;

const Instant start{std::chrono::hours(1)};

ViewerPipeWireVitality streaming() {
    ViewerPipeWireVitality result(start);
    result.enter(State::connecting, start);
    result.enter(State::paused, start + milliseconds(5));
    result.enter(State::streaming, start + milliseconds(10));
    return result;
}

TEST(ViewerPipeWireVitality, AStreamThatStreamsLives) {
    const ViewerPipeWireVitality vitality = streaming();

    EXPECT_FALSE(vitality.limit().has_value());
    EXPECT_FALSE(vitality.isDeadAt(start + std::chrono::hours(1)));
    EXPECT_EQ(vitality.firstStreamed(), start + milliseconds(10));
}

TEST(ViewerPipeWireVitality, AStreamThatNeverStreamsIsDeadAfterTheLimitOfAStart) {
    ViewerPipeWireVitality vitality(start);
    vitality.enter(State::connecting, start + milliseconds(1));
    vitality.enter(State::paused, start + milliseconds(600));

    EXPECT_EQ(vitality.limit(), start + ViewerPipeWireVitality::startLimit);
    EXPECT_FALSE(vitality.isDeadAt(start + milliseconds(3999)));
    EXPECT_TRUE(vitality.isDeadAt(start + milliseconds(4000)));
    EXPECT_FALSE(vitality.firstStreamed().has_value());
}

TEST(ViewerPipeWireVitality, APauseOfHalfASecondIsTheEnd) {
    ViewerPipeWireVitality vitality = streaming();
    vitality.enter(State::paused, start + milliseconds(100));

    EXPECT_FALSE(vitality.isDeadAt(start + milliseconds(599)));
    EXPECT_TRUE(vitality.isDeadAt(start + milliseconds(600)));
}

TEST(ViewerPipeWireVitality, ABriefPauseIsForgotten) {
    ViewerPipeWireVitality vitality = streaming();
    vitality.enter(State::paused, start + milliseconds(100));
    vitality.enter(State::streaming, start + milliseconds(140));

    EXPECT_FALSE(vitality.limit().has_value());
    EXPECT_EQ(vitality.firstStreamed(), start + milliseconds(10));
}

TEST(ViewerPipeWireVitality, APauseInStepsHasOneLimit) {
    ViewerPipeWireVitality vitality = streaming();
    vitality.enter(State::paused, start + milliseconds(100));
    vitality.enter(State::connecting, start + milliseconds(400));
    vitality.enter(State::paused, start + milliseconds(500));

    EXPECT_TRUE(vitality.isDeadAt(start + milliseconds(600)));
}

TEST(ViewerPipeWireVitality, AFailureIsTheEndAtOnce) {
    ViewerPipeWireVitality vitality = streaming();
    vitality.enter(State::failed, start + milliseconds(100));

    EXPECT_TRUE(vitality.isDeadAt(start + milliseconds(100)));
}

}  // namespace
}  // namespace velmora
