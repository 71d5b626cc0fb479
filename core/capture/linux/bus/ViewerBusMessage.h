#pragma once

#include <memory>
#include <string>

#include "core/capture/linux/bus/ViewerBusLibrary.h"

namespace velmora {

struct ViewerBusMessageRelease final {
    void operator()(sd_bus_message* message) const {
        ViewerBusLibrary::loaded().messageUnref(message);
    }
};

/// A message of a bus, and the descriptors that came with it. Main thread only.
using ViewerBusMessage = std::unique_ptr<sd_bus_message, ViewerBusMessageRelease>;

struct ViewerBusSlotRelease final {
    void operator()(sd_bus_slot* slot) const { ViewerBusLibrary::loaded().slotUnref(slot); }
};

/// What a connection waits for: an answer, or signals. Destroyed, it is waited for no longer.
using ViewerBusSlot = std::unique_ptr<sd_bus_slot, ViewerBusSlotRelease>;

/// What came of a call.
struct ViewerBusReply final {
    enum class Kind {
        answered,
        /// An error, named by `error`.
        refused,
        /// There was no answer in time.
        silent,
        /// The connection is gone.
        lost,
    };

    Kind kind = Kind::silent;
    /// The answer, before its first argument; null unless answered.
    ViewerBusMessage message = nullptr;
    std::string error = {};
};

}  // namespace velmora
