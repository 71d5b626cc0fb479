#include "core/runtime/linux/ViewerDescriptorLimit.h"

#include <algorithm>
#include <optional>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr rlim_t mostDescriptors = 16'384;

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

}  // namespace velmora
