#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace velmora {

/// The 128 bytes of a made-up monitor's EDID, built field by field for tests.
class EDIDBlock final {
  public:
    EDIDBlock();

    EDIDBlock& model(std::uint16_t number);
    EDIDBlock& serialNumber(std::uint32_t number);
    EDIDBlock& serialText(std::string_view text);
    EDIDBlock& monitorName(std::string_view text);

    /// The block with a correct checksum.
    std::vector<std::uint8_t> bytes() const;

  private:
    EDIDBlock& addText(std::uint8_t tag, std::string_view text);

    std::vector<std::uint8_t> bytes_;
    std::size_t descriptors_ = 0;
};

}  // namespace velmora
