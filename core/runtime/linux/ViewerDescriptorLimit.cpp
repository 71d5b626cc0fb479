#include "core/runtime/linux/ViewerDescriptorLimit.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr rlim_t mostDescriptors = 16'384;
constexpr rlim_t mostReserved = 32;
constexpr rlim_t leastShareReserved = 4;

rlimit currentLimit() {
    rlimit limit{};
    const int result = ::getrlimit(RLIMIT_NOFILE, &limit);
    viewerCheck(result == 0, "a process knows its limit of descriptors");
    return limit;
}

/// A limit that cannot be set stays as it was: fewer clients wait here, more in the kernel.
void set(const rlimit& limit) {
    (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

/// The limit before it was raised; nothing until then. Main thread only.
std::optional<rlimit>& originalLimit() {
    static std::optional<rlimit> limit;
    return limit;
}

}  // namespace

void raiseDescriptorLimit() {
    const rlimit original = currentLimit();
    const rlim_t wanted = std::min(original.rlim_max, mostDescriptors);
    if (original.rlim_cur < wanted) {
        originalLimit() = original;
        set({wanted, original.rlim_max});
    }
}

ViewerOriginalDescriptorLimit::ViewerOriginalDescriptorLimit() : raised_(currentLimit()) {
    set(originalLimit().value_or(raised_));
}

ViewerOriginalDescriptorLimit::~ViewerOriginalDescriptorLimit() {
    set(raised_);
}

int firstReservedDescriptor() {
    const rlim_t limit = currentLimit().rlim_cur;
    const rlim_t first = limit - std::min(limit / leastShareReserved, mostReserved);
    constexpr rlim_t mostInt = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(first, mostInt));
}

}  // namespace velmora
