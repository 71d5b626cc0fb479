#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/ViewerPlatformServices.h"
#include "tests/support/app/ScriptedAlertPresenter.h"
#include "tests/support/app/ScriptedApplicationShell.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/http/ScriptedTransport.h"
#include "tests/support/runtime/CallLog.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

/// Everything that the application is given, in a simulated world. The list of displays never
/// comes. One thread.
struct ScriptedPlatform {
    explicit ScriptedPlatform(std::uint64_t seed = 1) : world(seed) {
        capture->holdsListings = true;
    }

    /// The world is the test's own.
    ViewerPlatformServices services() {
        const std::shared_ptr<SimulatedWorld> borrowed(std::shared_ptr<void>(), &world);
        return {shell, alerts, borrowed, borrowed, transport, capture};
    }

    /// What was asked of the platform, in order.
    const std::vector<std::string>& calls() const { return *log; }

    SimulatedWorld world;
    CallLog log = makeCallLog();
    std::shared_ptr<ScriptedAlertPresenter> alerts = std::make_shared<ScriptedAlertPresenter>(log);
    std::shared_ptr<ScriptedApplicationShell> shell =
        std::make_shared<ScriptedApplicationShell>(world, log, alerts);
    std::shared_ptr<ScriptedTransport> transport = std::make_shared<ScriptedTransport>();
    std::shared_ptr<FakeScreenCapture> capture = std::make_shared<FakeScreenCapture>(log);
};

}  // namespace velmora
