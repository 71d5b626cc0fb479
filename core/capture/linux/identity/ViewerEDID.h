#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velmora {

/// What the first block of a monitor's EDID (VESA Enhanced EDID Standard, release A) says that the
/// product asks for. A plain value.
struct ViewerEDID final {
    friend bool operator==(const ViewerEDID&, const ViewerEDID&) = default;

    /// Reads any bytes: from what is not an EDID nothing is known. The checksum is not looked at,
    /// since monitors with a wrong one exist.
    static ViewerEDID parse(std::span<const std::uint8_t> bytes);

    /// Whether the monitor can be told from others of its model. Numbers and texts that makers put
    /// there for "none" do not count: 0, 0x01010101, 0xFFFFFFFF, and texts of zeros and blanks
    /// only.
    bool hasSerialNumber = false;
    /// The monitor's name as valid UTF-8 without blanks at either end; empty when it has none.
    std::string monitorName;
};

}  // namespace velmora
