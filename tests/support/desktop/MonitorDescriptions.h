#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velmora {

/// The monitors that the system says are plugged in, for this process and its children alone: an
/// output in memory has none. Needs a folder tree of the process's own, which root may make, and
/// who is alone in a namespace of users. Made before the first desktop; holds until the process
/// ends. What cannot be done stops the test's process.
class MonitorDescriptions final {
  public:
    MonitorDescriptions();

    /// From now on a monitor with that EDID is plugged into that connector of the first card.
    static void plugIn(const std::string& connector, const std::vector<std::uint8_t>& edid);
};

}  // namespace velmora
