#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

/// A picture of 4 bytes a pixel (blue, green, red, unused) in memory of exactly its size.
struct TestPicture final {
    static constexpr std::size_t channels = 4;

    TestPicture(std::int64_t pictureWidth, std::int64_t pictureHeight);

    static TestPicture random(std::int64_t width, std::int64_t height, std::mt19937& generator);
    static TestPicture filled(std::int64_t width, std::int64_t height,
                              std::array<std::uint8_t, channels> pixel);

    ViewerPixelBuffer buffer() const;
    std::size_t bytesPerRow() const { return static_cast<std::size_t>(width) * channels; }
    const std::uint8_t* pixel(std::int64_t x, std::int64_t y) const;
    std::uint8_t* pixel(std::int64_t x, std::int64_t y);

    std::int64_t width;
    std::int64_t height;
    std::vector<std::uint8_t> bytes;
};

/// The average of each target pixel's area, channel after channel in the order of the bytes, as
/// exact as double precision is. Written the plain way, to check the fast one.
std::vector<double> areaAverages(const TestPicture& source, std::int64_t targetWidth,
                                 std::int64_t targetHeight);

/// Peak signal-to-noise ratio in dB of `picture` against the rounded averages, the unused byte left
/// out; infinite when they are equal.
double signalToNoise(const TestPicture& picture, const std::vector<double>& averages);

}  // namespace velmora
