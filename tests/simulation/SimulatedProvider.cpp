#include "tests/simulation/SimulatedProvider.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "core/runtime/ViewerOneShot.h"
#include "tests/simulation/SimulatedExchange.h"

namespace velmora {

namespace {

constexpr std::chrono::milliseconds shortPause{100};

}  // namespace

SimulatedProvider::SimulatedProvider(SimulatedWorld& world)
    : world_(world), provider_(makeSimulatedProvider()) {}

ViewerTask<std::vector<ViewerHostDisplay>> SimulatedProvider::displays() {
    return pausedDisplays(this);
}

ViewerTask<std::optional<ViewerHostFrame>> SimulatedProvider::frame(std::string displayID) {
    return pausedFrame(this, std::move(displayID));
}

ViewerTask<void> SimulatedProvider::shutdown() {
    onShutdown();
    return pausedShutdown(this);
}

ViewerTask<std::vector<ViewerHostDisplay>> SimulatedProvider::pausedDisplays(
    SimulatedProvider* self) {
    co_await pause(self, shortPause);
    co_return co_await self->provider_->displays();
}

ViewerTask<std::optional<ViewerHostFrame>> SimulatedProvider::pausedFrame(SimulatedProvider* self,
                                                                          std::string displayID) {
    const bool isSlow = displayID == slowDisplay;
    const std::chrono::milliseconds most = isSlow ? longestPause : shortPause;
    co_await pause(self, most);
    co_return co_await self->provider_->frame(std::move(displayID));
}

ViewerTask<void> SimulatedProvider::pausedShutdown(SimulatedProvider* self) {
    co_await pauseStubbornly(&self->world_, shortPause);
    co_await self->provider_->shutdown();
}

ViewerTask<void> SimulatedProvider::pause(SimulatedProvider* self, std::chrono::milliseconds most) {
    self->mostWaiting_ = std::max(self->mostWaiting_, ++self->waiting_);
    const auto count = static_cast<std::size_t>(most.count());
    const std::chrono::milliseconds duration(self->world_.choose(count + 1));
    switch (self->world_.choose(3)) {
        case 0:
            break;
        case 1:
            (void)co_await self->world_.sleep(duration);
            break;
        default:
            co_await pauseStubbornly(&self->world_, duration);
            break;
    }
    --self->waiting_;
}

ViewerTask<void> SimulatedProvider::pauseStubbornly(SimulatedWorld* world,
                                                    std::chrono::milliseconds duration) {
    using Continuation = ViewerOneShot<std::monostate>;
    (void)co_await Continuation::wait([&world, &duration](Continuation task) {
        const auto shared = std::make_shared<Continuation>(std::move(task));
        (void)world->schedule(world->now() + duration, world->mainExecutor(),
                              [shared] { shared->complete({}); });
    });
}

}  // namespace velmora
