#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace velmora {

/// Who a monitor is: a UUID that outlives restarts of this program and of the display server, and a
/// name for people. It depends on the monitor alone, never on which others are there, so that the
/// coming and going of a twin changes nothing for the one that stays. A plain value.
struct ViewerMonitorIdentity final {
    friend bool operator==(const ViewerMonitorIdentity&, const ViewerMonitorIdentity&) = default;

    /// The UUID is of version 5: over the EDID where it has a serial number, else over the EDID and
    /// the name of the connector that the monitor hangs on, and without an EDID over the other
    /// name, RandR's.
    /// Two monitors whose EDIDs agree even in their serial number share one UUID.
    static ViewerMonitorIdentity of(std::span<const std::uint8_t> edid, std::string_view connector,
                                    std::string_view fallbackName);

    /// The same for a monitor whose twin, with the same EDID to the last bit, is there too: the
    /// connector tells them apart even if there is a serial number.
    static ViewerMonitorIdentity ofTwin(std::span<const std::uint8_t> edid,
                                        std::string_view connector, std::string_view fallbackName);

    /// A monitor without an EDID as a compositor tells it: the UUID is over all three, the name is
    /// of make and model, and empty where a compositor knows neither.
    static ViewerMonitorIdentity ofOutput(std::string_view connector, std::string_view make,
                                          std::string_view model);

    /// Make and model as a person reads them, valid UTF-8: without the words that compositors put
    /// where they know nothing, and without a make that the model repeats.
    static std::string nameOf(std::string_view make, std::string_view model);

    /// 36 characters, lower case.
    std::string uuidText;
    /// The name that the EDID tells, else the one that was given for such; valid UTF-8.
    std::string name;
};

}  // namespace velmora
