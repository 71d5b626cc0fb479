#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

/// The outputs of the session's compositor, and whether it is there at all. Made, used and
/// destroyed on the main thread, on which everything it tells arrives.
class ViewerOutputs {
  public:
    /// What the compositor told up to one moment. A plain value.
    struct Snapshot final {
        friend bool operator==(const Snapshot&, const Snapshot&) = default;

        /// In the compositor's order.
        std::vector<ViewerWaylandOutput> outputs;
        /// Whether it hands out plain copies of an output as the compositors on wlroots do
        /// (wlr-screencopy), and in the common way (ext-image-copy-capture).
        bool offersScreenCopy = false;
        bool offersImageCopy = false;
    };
    using Current = std::shared_ptr<const Snapshot>;

    virtual ~ViewerOutputs() = default;

    /// Connects, and stays connected from then on. `changed` runs whenever `current` has become
    /// another, also within a call of it. Called once.
    virtual void start(std::function<void()> changed) = 0;
    /// The outputs as they are after everything that has arrived by now; the same object while
    /// nothing changes. Null while the compositor is not there or has not answered yet. Never
    /// blocks.
    virtual Current current() = 0;
    /// `ended` runs once when the compositor is gone for good. Called once.
    virtual void watchSession(std::function<void()> ended) = 0;
};

}  // namespace velmora
