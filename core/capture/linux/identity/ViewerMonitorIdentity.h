#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

/// Who a monitor is: a UUID that outlives restarts of this program and of the X server, and a name
/// for people. It depends on the monitor alone, never on which others are there, so that the coming
/// and going of a twin changes nothing for the one that stays. A plain value.
struct ViewerMonitorIdentity final {
    friend bool operator==(const ViewerMonitorIdentity&, const ViewerMonitorIdentity&) = default;

    /// The UUID is of version 5: over the EDID where it has a serial number, else over the EDID and
    /// the name of the connector that the monitor hangs on, and without an EDID over RandR's name.
    /// Two monitors whose EDIDs agree even in their serial number share one UUID.
    static ViewerMonitorIdentity of(std::span<const std::uint8_t> edid, std::string_view connector,
                                    std::string_view randrName);

    /// 36 characters, lower case.
    std::string uuidText;
    /// The name that the EDID tells, else RandR's; valid UTF-8.
    std::string name;
};

}  // namespace velmora
