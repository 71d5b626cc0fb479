#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/coordination/ViewerCaptureCoordinator.h"
#include "tests/support/capture/ScriptedCaptureSource.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {

/// A coordinator of at most four captures with an idle timeout of five seconds, over scripted
/// captures of the displays "1" to "6", in a simulated world.
struct CoordinatedWorld final {
    using Answer = SpawnedAnswer<std::optional<ViewerHostFrame>>;

    explicit CoordinatedWorld(std::uint64_t seed = 1) : world(seed) {}

    static std::vector<ViewerHostDisplay> displays() {
        std::vector<ViewerHostDisplay> displays;
        for (const char* id : {"1", "2", "3", "4", "5", "6"}) {
            displays.emplace_back(id, "Display", 1512, 982);
        }
        return displays;
    }

    Answer request(const std::string& displayID) { return {world, coordinator->frame(displayID)}; }
    /// Asks, and lets everything happen that takes no time.
    Answer ask(const std::string& displayID) {
        Answer answer = request(displayID);
        world.settle();
        return answer;
    }
    /// From now on an answer of a new capture takes that long.
    void delayFrames(ViewerContinuousClock::Duration delay) {
        source->prepare = [delay](ScriptedCaptureSession& session) {
            session.frameDelay = [delay] { return delay; };
        };
    }
    ScriptedCaptureSession& session(std::size_t index) { return *source->sessions.at(index); }

    static constexpr std::int64_t sessionLimit = 4;
    static constexpr std::chrono::seconds idleTimeout{5};

    SimulatedWorld world;
    std::shared_ptr<ScriptedCaptureSource> source =
        std::make_shared<ScriptedCaptureSource>(world, displays());
    std::shared_ptr<ViewerCaptureCoordinator> coordinator =
        std::make_shared<ViewerCaptureCoordinator>(source, sessionLimit, idleTimeout, world,
                                                   borrowedClock(world));
};

/// The frame of a scripted capture.
inline std::optional<ViewerHostFrame> frameOf(const std::string& displayID) {
    return ViewerHostFrame(ViewerBytes("JPEG"), displayID);
}

}  // namespace velmora
