#pragma once

#include <spa/buffer/buffer.h>

#include <cstddef>
#include <cstdint>
#include <span>

namespace velmora {

/// This process's view of the memory of one buffer, read-only where it is mapped here. One thread.
class ViewerPipeWireMemory final {
  public:
    /// Maps what the buffer's memory file has; of a buffer that lies in memory that PipeWire has
    /// mapped already, nothing is mapped. Where neither is possible, there is no memory.
    explicit ViewerPipeWireMemory(const spa_buffer& buffer);
    ~ViewerPipeWireMemory();
    ViewerPipeWireMemory(const ViewerPipeWireMemory&) = delete;
    ViewerPipeWireMemory& operator=(const ViewerPipeWireMemory&) = delete;

    /// The memory as it is now. Empty when there is none, also since its file became shorter:
    /// reading on would end this process.
    std::span<const std::uint8_t> bytes() const;

  private:
    void map(const spa_data& data);

    /// -1 where nothing is mapped here.
    int file_ = -1;
    std::uint64_t fileBytes_ = 0;
    void* mapping_ = nullptr;
    std::size_t mappedBytes_ = 0;
    std::span<const std::uint8_t> bytes_;
};

}  // namespace velmora
