#pragma once

#include <cstddef>

namespace velmora {

/// Counts what the thread takes from `operator new`, which this test program replaces. Used on the
/// thread that made it.
class AllocationCount final {
  public:
    AllocationCount();
    std::size_t sinceConstruction() const;

  private:
    std::size_t before_;
};

}  // namespace velmora
