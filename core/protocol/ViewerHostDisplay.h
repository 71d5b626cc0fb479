#pragma once

#include <cstdint>
#include <string>

namespace velmora {

/// One physical display as the protocol exposes it. A plain value; any thread.
struct ViewerHostDisplay final {
    ViewerHostDisplay(std::string id, std::string name, std::int64_t width, std::int64_t height);

    friend bool operator==(const ViewerHostDisplay&, const ViewerHostDisplay&) = default;

    /// Stable identifier: what a client passes back to ask for a frame.
    std::string id;
    /// Human-readable name, UTF-8.
    std::string name;
    /// Pixels.
    std::int64_t width;
    std::int64_t height;
};

}  // namespace velmora
