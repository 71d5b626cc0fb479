#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace velmora {

/// What one step touched that another step may touch too: places in memory, queues, deadlines. A
/// plain value.
class Footprint final {
  public:
    using Place = std::uint64_t;
    using Kinds = std::uint8_t;

    static constexpr Kinds read = 1;
    /// A count of owners went up or down, and not to zero: such changes may change places.
    static constexpr Kinds count = 2;
    static constexpr Kinds write = 4;

    void add(Place place, Kinds kinds);
    void add(const Footprint& other);
    /// Before the first comparison.
    void sort();

    /// Whether one wrote what the other read or wrote, so that their order may matter.
    bool conflictsWith(const Footprint& other) const;

  private:
    std::vector<std::pair<Place, Kinds>> touched_;
};

}  // namespace velmora
