#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/runtime/ViewerOneShot.h"
#include "tests/schedules/ScheduledWorld.h"

namespace velmora {

/// What answers a serving world's requests: one display "one", whose frame takes a wait. One
/// thread.
class ScheduledProvider final : public ViewerHostFrameProviding {
  public:
    /// With `isLate`, a frame comes when it likes.
    ScheduledProvider(ScheduledWorld& world, bool isLate) : world_(world), isLate_(isLate) {}

    ViewerTask<ViewerHostDisplays> displays() override { return list(this); }
    ViewerTask<std::optional<ViewerHostFrame>> frame(std::string) override { return wait(this); }
    ViewerTask<void> shutdown() override { return end(this); }

    /// Called at each call but the shutdown, and at that.
    std::function<void()> onCall;
    std::function<void()> onShutdown;
    /// How many wait for a frame.
    std::size_t waiting = 0;

  private:
    static ViewerTask<ViewerHostDisplays> list(ScheduledProvider* self) {
        self->onCall();
        co_return ViewerHostDisplays({ViewerHostDisplay("one", "One", 1, 1)});
    }
    static ViewerTask<std::optional<ViewerHostFrame>> wait(ScheduledProvider* self) {
        self->onCall();
        ++self->waiting;
        if (self->isLate_) {
            (void)co_await ViewerOneShot<std::monostate>::wait(
                [&self](ViewerOneShot<std::monostate> task) {
                    const auto waiting =
                        std::make_shared<ViewerOneShot<std::monostate>>(std::move(task));
                    self->world_.mayHappen("frame", [waiting] { waiting->complete({}); });
                });
        }
        --self->waiting;
        co_return ViewerHostFrame(ViewerBytes(std::string("JPEG")), "label-1");
    }
    static ViewerTask<void> end(ScheduledProvider* self) {
        self->onShutdown();
        co_return;
    }

    ScheduledWorld& world_;
    const bool isLate_;
};

}  // namespace velmora
