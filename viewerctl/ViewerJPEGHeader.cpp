#include "viewerctl/ViewerJPEGHeader.h"

#include <cstddef>

namespace velmora {

namespace {

// Markers of ITU-T T.81, table B.1.
constexpr std::uint8_t startOfImage = 0xD8;
constexpr std::uint8_t endOfImage = 0xD9;
constexpr std::uint8_t startOfScan = 0xDA;
constexpr std::uint8_t firstFrameHeader = 0xC0;
/// Baseline, extended sequential and progressive: what decoders take.
constexpr std::uint8_t lastFrameHeader = 0xC2;
constexpr std::uint8_t firstRestart = 0xD0;

std::int32_t numberAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return bytes[offset] * 256 + bytes[offset + 1];
}

/// Of the segment behind a frame header's marker, its length included (T.81, B.2.2).
std::optional<ViewerJPEGHeader> frameHeader(std::span<const std::uint8_t> segment) {
    constexpr std::size_t shortest = 8;
    if (segment.size() < shortest || segment[2] != 8) {
        return std::nullopt;
    }
    const std::int32_t height = numberAt(segment, 3);
    const std::int32_t width = numberAt(segment, 5);
    const bool isSize = width >= 1 && height >= 1 && width <= ViewerJPEGHeader::largestSide &&
                        height <= ViewerJPEGHeader::largestSide;
    return isSize ? std::optional(ViewerJPEGHeader(width, height)) : std::nullopt;
}

}  // namespace

ViewerJPEGHeader::ViewerJPEGHeader(std::int32_t columns, std::int32_t rows)
    : width(columns), height(rows) {}

std::optional<ViewerJPEGHeader> ViewerJPEGHeader::parse(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 2 || bytes[0] != 0xFF || bytes[1] != startOfImage) {
        return std::nullopt;
    }
    bytes = bytes.subspan(2);
    // Each turn takes one marker with its segment of at least two bytes, so it ends.
    while (bytes.size() >= 4 && bytes[0] == 0xFF) {
        const std::uint8_t marker = bytes[1];
        if (marker == 0xFF) {
            bytes = bytes.subspan(1);  // a fill byte
            continue;
        }
        const bool hasNoSegment =
            marker < firstFrameHeader || (marker >= firstRestart && marker <= endOfImage);
        const auto length = static_cast<std::size_t>(numberAt(bytes, 2));
        if (hasNoSegment || marker == startOfScan || length < 2 || length > bytes.size() - 2) {
            return std::nullopt;
        }
        if (marker >= firstFrameHeader && marker <= lastFrameHeader) {
            return frameHeader(bytes.subspan(2, length));
        }
        bytes = bytes.subspan(2 + length);
    }
    return std::nullopt;
}

}  // namespace velmora
