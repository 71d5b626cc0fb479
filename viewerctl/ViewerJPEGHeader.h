#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace velmora {

/// What a JPEG says of itself before its pixels. A plain value; any thread.
struct ViewerJPEGHeader final {
    ViewerJPEGHeader(std::int32_t columns, std::int32_t rows);

    /// The most pixels a side of a picture that anything is asked to decode.
    static constexpr std::int32_t largestSide = 4'096;

    /// Nothing unless `bytes` begin as a JPEG of 8 bits a sample, sequential or progressive, whose
    /// sides are at most `largestSide`. Segments before the frame header are passed over unread, so
    /// the size of a preview inside the picture is not taken for the picture's.
    static std::optional<ViewerJPEGHeader> parse(std::span<const std::uint8_t> bytes);

    friend bool operator==(const ViewerJPEGHeader&, const ViewerJPEGHeader&) = default;

    /// Pixels.
    std::int32_t width;
    std::int32_t height;
};

}  // namespace velmora
