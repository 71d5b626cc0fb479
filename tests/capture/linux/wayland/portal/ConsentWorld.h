#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/capture/linux/wayland/portal/ViewerPortalScreenCast.h"
#include "tests/capture/linux/wayland/portal/ScriptedScreenCastPortal.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// A consent on a scripted portal and a scripted lock, in a simulated world. One thread.
struct ConsentWorld final {
    using State = ViewerScreenCast::State;
    using Ending = ViewerScreenCastPortal::Ending;

    explicit ConsentWorld(std::uint64_t seed = 1) : world(seed) {
        consent->watch([this] { told.push_back(consent->state()); });
    }

    void request() {
        consent->request([this](ViewerCaptureAccess access) { answers.push_back(access); });
        world.settle();
    }
    /// The person grants, and the portal gives a token for it.
    void grantWith(const char* token) {
        request();
        portal->grant(token);
        world.settle();
    }
    void close() {
        portal->endSession(Ending::closed);
        world.settle();
    }
    void lock() {
        sessionLock->change(true);
        world.settle();
    }
    void unlock() {
        sessionLock->change(false);
        world.settle();
    }
    void changeOutputs() {
        consent->outputsHaveChanged();
        world.settle();
    }
    void loseRemote() {
        consent->remoteIsLost();
        world.settle();
    }
    void pass(ViewerContinuousClock::Duration time) { world.advance(time); }
    State state() const { return consent->state(); }
    /// How often a new session was asked for after the first.
    std::size_t renewals() const { return portal->opened.size() - 1; }

    SimulatedWorld world;
    std::shared_ptr<ScriptedScreenCastPortal> portal =
        std::make_shared<ScriptedScreenCastPortal>(world.mainExecutor());
    std::shared_ptr<ScriptedSessionLock> sessionLock =
        std::make_shared<ScriptedSessionLock>(world.mainExecutor());
    std::vector<ViewerCaptureAccess> answers;
    std::vector<State> told;
    std::shared_ptr<ViewerPortalScreenCast> consent = std::make_shared<ViewerPortalScreenCast>(
        world.mainExecutor(), borrowedClock(world), portal, sessionLock);
};

}  // namespace velmora
