#pragma once

#include <cstddef>

namespace velmora {

/// Counts what the thread takes from `operator new`, which this test program replaces, and from
/// `aligned_alloc`, where Asio gets its coroutine frames. Used on the thread that made it.
class AllocationCount final {
  public:
    AllocationCount();
    std::size_t sinceConstruction() const;
    std::size_t alignedSinceConstruction() const;

  private:
    std::size_t before_;
    std::size_t alignedBefore_;
};

}  // namespace velmora
