#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/outputs/ViewerOutputs.h"

namespace velmora {

/// A compositor with the outputs that a test puts in. One thread.
class FakeOutputs final : public ViewerOutputs {
  public:
    void start(std::function<void()> changed) override {
        ++starts;
        changed_ = std::move(changed);
    }
    Current current() override {
        if (arrived_) {
            tell(*std::exchange(arrived_, std::nullopt));
        }
        return current_;
    }
    void watchSession(std::function<void()> ended) override { ended_ = std::move(ended); }

    /// An output of a lasting place, as wide as it is told, with nothing else that tells it apart.
    static ViewerWaylandOutput output(std::uint32_t global, std::int32_t x, std::int32_t width) {
        constexpr std::int32_t height = 1080;
        ViewerWaylandOutput result;
        result.global = global;
        result.connector = "DP-" + std::to_string(global);
        result.make = "Maker";
        result.model = "Model";
        result.mode = {width, height};
        result.position = {x, 0};
        result.logicalSize = {width, height};
        return result;
    }

    /// Tells how the outputs are from now on.
    void tell(std::vector<ViewerWaylandOutput> outputs) {
        become(std::make_shared<const Snapshot>(
            Snapshot{std::move(outputs), offersScreenCopy, offersImageCopy}));
    }
    /// The same, but nobody has looked yet.
    void tellUnseen(std::vector<ViewerWaylandOutput> outputs) { arrived_ = std::move(outputs); }
    /// The compositor is gone.
    void leave() { become(nullptr); }
    void endSession() {
        if (ended_) {
            std::exchange(ended_, nullptr)();
        }
    }

    bool offersScreenCopy = false;
    bool offersImageCopy = false;
    int starts = 0;

  private:
    void become(Current current) {
        current_ = std::move(current);
        if (changed_) {
            changed_();
        }
    }

    Current current_;
    std::optional<std::vector<ViewerWaylandOutput>> arrived_;
    std::function<void()> changed_;
    std::function<void()> ended_;
};

}  // namespace velmora
