#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// A place in the compositor's logical coordinates. A plain value.
struct ViewerLogicalPosition final {
    friend bool operator==(const ViewerLogicalPosition&, const ViewerLogicalPosition&) = default;

    std::int32_t x = 0;
    std::int32_t y = 0;
};

/// A size in the compositor's logical coordinates. A plain value.
struct ViewerLogicalSize final {
    friend bool operator==(const ViewerLogicalSize&, const ViewerLogicalSize&) = default;

    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// One stream of what the person granted, as the portal told it. What a portal does not tell is
/// nothing, 0 or empty. A plain value.
struct ViewerGrantedStream final {
    friend bool operator==(const ViewerGrantedStream&, const ViewerGrantedStream&) = default;

    /// The kinds of sources that a portal knows.
    static constexpr std::uint32_t monitor = 1;
    static constexpr std::uint32_t window = 2;
    static constexpr std::uint32_t virtualMonitor = 4;

    /// PipeWire's number of the stream's node. Numbers are given out again once a node is gone.
    std::uint32_t node = 0;
    /// PipeWire's serial number of the node, which is given out once.
    std::optional<std::uint64_t> serial = std::nullopt;
    std::optional<ViewerLogicalPosition> position = std::nullopt;
    std::optional<ViewerLogicalSize> size = std::nullopt;
    std::uint32_t sourceType = 0;
    std::string mappingId = {};
};

/// What the person granted, in the portal's order, which means nothing. A plain value.
struct ViewerScreenCastGrant final {
    friend bool operator==(const ViewerScreenCastGrant&, const ViewerScreenCastGrant&) = default;

    std::vector<ViewerGrantedStream> streams;
};

}  // namespace velmora
