#pragma once

#include <xcb/shm.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// Memory that the X server writes pictures to. It has no name that anybody else could open, and
/// the system frees it with its last user, however that ends. Owned by one capture; made and
/// destroyed on any thread.
class ViewerX11SharedMemory final {
  public:
    /// Null when the server cannot share memory with this process: it is on another machine, or
    /// has no MIT-SHM 1.2. Blocks for two round trips.
    static std::unique_ptr<ViewerX11SharedMemory> make(
        const std::shared_ptr<ViewerX11Connection>& connection, std::size_t size);

    ~ViewerX11SharedMemory();
    ViewerX11SharedMemory(const ViewerX11SharedMemory&) = delete;
    ViewerX11SharedMemory& operator=(const ViewerX11SharedMemory&) = delete;

    /// The server's name for the memory.
    xcb_shm_seg_t segment() const { return segment_; }
    const std::uint8_t* bytes() const { return static_cast<const std::uint8_t*>(memory_); }

  private:
    ViewerX11SharedMemory(std::shared_ptr<ViewerX11Connection> connection, void* memory,
                          std::size_t size);

    const std::shared_ptr<ViewerX11Connection> connection_;
    void* const memory_;
    const std::size_t size_;
    const xcb_shm_seg_t segment_;
};

}  // namespace velmora
