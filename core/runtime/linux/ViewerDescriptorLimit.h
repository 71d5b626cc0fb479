#pragma once

#include <sys/resource.h>

namespace velmora {

/// Lets this process have as many descriptors as it may ask for, at most 16,384: each client that
/// waits costs one. A limit that is higher already stays. Called once, on the main thread.
void raiseDescriptorLimit();

/// While one lives the process has the limit that it was started with, and so has every program
/// that it starts: some cannot deal with higher descriptors (`select`). Main thread only, and
/// briefly, because what other threads open meanwhile falls under that limit too.
class ViewerOriginalDescriptorLimit final {
  public:
    ViewerOriginalDescriptorLimit();
    ~ViewerOriginalDescriptorLimit();
    ViewerOriginalDescriptorLimit(const ViewerOriginalDescriptorLimit&) = delete;
    ViewerOriginalDescriptorLimit& operator=(const ViewerOriginalDescriptorLimit&) = delete;

  private:
    const rlimit raised_;
};

/// The lowest descriptor of those that clients leave to the rest of the process (captures, alerts,
/// files): the last 32 under the limit, or the last quarter where there are fewer than 128.
int firstReservedDescriptor();

}  // namespace velmora
