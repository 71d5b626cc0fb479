#pragma once

#include <cstdint>
#include <string>

#include "core/capture/linux/wayland/ViewerScreenCastGrant.h"

namespace velmora {

/// An output as the compositor tells it, all of one moment. Texts are bytes as they came; what a
/// compositor does not tell is empty. A plain value.
struct ViewerWaylandOutput final {
    friend bool operator==(const ViewerWaylandOutput&, const ViewerWaylandOutput&) = default;

    /// A size in pixels.
    struct PixelSize final {
        friend bool operator==(const PixelSize&, const PixelSize&) = default;

        std::int32_t width = 0;
        std::int32_t height = 0;
    };

    /// The transforms run from 0 to 7: the angle in quarter turns, and 4 more where it is flipped.
    static constexpr std::int32_t transforms = 8;

    /// Whether the sides of a picture change places under a transform.
    static bool swapsSides(std::int32_t transform) { return transform % 2 != 0; }

    /// The size of the picture that a person sees, without scale.
    PixelSize seenSize() const;

    /// The compositor's number for it, which it gives out once.
    std::uint32_t global = 0;
    /// The name of the connector.
    std::string connector = {};
    std::string make = {};
    std::string model = {};
    /// What the monitor is sent: before the transform.
    PixelSize mode = {};
    std::int32_t transform = 0;
    ViewerLogicalPosition position = {};
    ViewerLogicalSize logicalSize = {};
};

}  // namespace velmora
