#pragma once

#include <algorithm>
#include <boost/asio/this_coro.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/coordination/ViewerHostCaptureSource.h"
#include "tests/support/capture/ScriptedCaptureSession.h"

namespace velmora {

/// Makes scripted captures of the displays that the test lists, and keeps them all. One thread.
class ScriptedCaptureSource final : public ViewerHostCaptureSource {
  public:
    ScriptedCaptureSource(ViewerContinuousClock& clock, std::vector<ViewerHostDisplay> displays)
        : listed(std::move(displays)), clock_(clock) {}

    ViewerTask<ViewerHostDisplays> displays() override { return list(this); }
    std::optional<ViewerHostDisplays> displaysAtHand() override {
        return areAtHand ? std::optional<ViewerHostDisplays>(listed) : std::nullopt;
    }
    std::shared_ptr<ViewerHostCaptureSession> makeSession(const std::string& displayID) override {
        ++makeCalls;
        if (std::ranges::find(listed, displayID, &ViewerHostDisplay::id) == listed.end()) {
            return nullptr;
        }
        const auto session = std::make_shared<ScriptedCaptureSession>(clock_, displayID);
        prepare(*session);
        sessions.push_back(session);
        onMake(*session);
        return session;
    }

    /// Captures that were not asked to stop yet, of that display or of all.
    std::ptrdiff_t running(const std::string& displayID) const {
        return std::ranges::count_if(sessions, [&](const auto& session) {
            return !session->isAskedToStop() && session->displayID == displayID;
        });
    }
    std::ptrdiff_t running() const {
        return std::ranges::count_if(sessions,
                                     [](const auto& session) { return !session->isAskedToStop(); });
    }

    std::vector<ViewerHostDisplay> listed;
    bool areAtHand = false;
    /// How long a list takes.
    ViewerContinuousClock::Duration listDelay{0};
    /// Sets a new capture's script.
    std::function<void(ScriptedCaptureSession&)> prepare = [](auto&) {};
    /// Called when a capture has been made.
    std::function<void(const ScriptedCaptureSession&)> onMake = [](const auto&) {};

    /// Where it was last asked for a list.
    ViewerExecutor caller;
    int makeCalls = 0;
    /// Every capture so far, in the order of their making.
    std::vector<std::shared_ptr<ScriptedCaptureSession>> sessions;

  private:
    static ViewerTask<ViewerHostDisplays> list(ScriptedCaptureSource* source) {
        source->caller = co_await boost::asio::this_coro::executor;
        if (source->listDelay > ViewerContinuousClock::Duration(0)) {
            (void)co_await source->clock_.sleep(source->listDelay);
        }
        co_return source->listed;
    }

    ViewerContinuousClock& clock_;
};

}  // namespace velmora
