#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace velmora {

/// A byte buffer with value semantics whose content never changes once it is made. Copies share the
/// content, so a frame travels from the encoder to the socket without being copied. Any thread.
class ViewerBytes final {
  public:
    ViewerBytes() = default;
    explicit ViewerBytes(std::vector<std::uint8_t> bytes);
    explicit ViewerBytes(std::string_view text);

    const std::uint8_t* data() const { return bytes_ ? bytes_->data() : nullptr; }
    std::size_t size() const { return bytes_ ? bytes_->size() : 0; }
    bool empty() const { return size() == 0; }
    std::span<const std::uint8_t> span() const { return {data(), size()}; }
    std::string_view text() const { return {reinterpret_cast<const char*>(data()), size()}; }

    /// Equal content, byte for byte.
    friend bool operator==(const ViewerBytes& a, const ViewerBytes& b);

  private:
    std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

}  // namespace velmora
