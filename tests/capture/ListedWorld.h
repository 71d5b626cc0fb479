#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/MacDisplayCaptureSource.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {

/// A display of no particular size that is not the main one.
inline ViewerNativeDisplay display(std::uint32_t number, const std::string& uuidText) {
    return {number, uuidText, 800, 600, false};
}

inline std::vector<std::string> idsOf(const ViewerHostDisplays& displays) {
    std::vector<std::string> ids;
    ids.reserve(displays.size());
    for (const ViewerHostDisplay& display : displays) {
        ids.push_back(display.id);
    }
    return ids;
}

/// A display source over a fake platform in a simulated world.
struct ListedWorld final {
    explicit ListedWorld(std::uint64_t seed = 1) : simulated(seed) {}

    /// A whole listing, whose platform answers.
    std::vector<ViewerHostDisplay> list() {
        const SpawnedAnswer answer(simulated, source->displays());
        simulated.settle();
        return {answer.value().begin(), answer.value().end()};
    }
    std::vector<std::string> listedIds() { return idsOf(list()); }
    std::vector<std::string> listedNames() {
        std::vector<std::string> names;
        for (const ViewerHostDisplay& display : list()) {
            names.push_back(display.name);
        }
        return names;
    }

    /// Opens a session and lets it try to get a frame.
    void askForFrame(const std::string& displayID) {
        const auto session = source->makeSession(displayID);
        const SpawnedAnswer frame(simulated, session->latestFrame());
        simulated.runToEnd();
    }

    /// Grants or refuses access, or reports one of two lists, as chance will have it.
    void changeByChance() {
        switch (simulated.choose(4)) {
            case 0:
                capture->isGranted = !capture->isGranted;
                break;
            case 1:
                capture->reported = nullptr;
                break;
            case 2:
                capture->report({display(1, "A"), display(2, "B")});
                break;
            default:
                capture->report({display(3, "C"), display(4, "D")});
                break;
        }
    }

    SimulatedWorld simulated;
    std::shared_ptr<FakeScreenCapture> capture = std::make_shared<FakeScreenCapture>();
    std::shared_ptr<MacDisplayCaptureSource> source =
        std::make_shared<MacDisplayCaptureSource>(capture, simulated, borrowedClock(simulated));
};

}  // namespace velmora
