#pragma once

#include <memory>

#include "core/runtime/ViewerContinuousClock.h"

namespace velmora {

/// A clock for an object that wants to share it, where the test owns it and outlives the object.
inline std::shared_ptr<ViewerContinuousClock> borrowedClock(ViewerContinuousClock& clock) {
    return {std::shared_ptr<ViewerContinuousClock>(), &clock};
}

}  // namespace velmora
