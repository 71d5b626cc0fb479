#include "tests/support/imaging/TestPicture.h"

#include <algorithm>
#include <cmath>

namespace velmora {

namespace {

/// The part of source cell `source` that lies under target cell `target`, in source cells.
double overlap(std::int64_t source, std::int64_t sources, std::int64_t target,
               std::int64_t targets) {
    // In units of 1 / targets of a source cell every edge is a whole number.
    const std::int64_t begin = std::max(source * targets, target * sources);
    const std::int64_t end = std::min((source + 1) * targets, (target + 1) * sources);
    return end <= begin ? 0 : static_cast<double>(end - begin) / static_cast<double>(targets);
}

/// The weighted sums of `vectors` vectors of `length` numbers, those of target cell `target`.
std::vector<double> weightedSum(const std::vector<double>& numbers, std::size_t length,
                                std::int64_t sources, std::int64_t target, std::int64_t targets) {
    std::vector<double> sum(length);
    const std::int64_t begin = target * sources / targets;
    const std::int64_t end = std::min(sources, (target + 1) * sources / targets + 1);
    for (std::int64_t source = begin; source < end; ++source) {
        const double weight = overlap(source, sources, target, targets);
        for (std::size_t index = 0; index < length; ++index) {
            sum[index] += weight * numbers[static_cast<std::size_t>(source) * length + index];
        }
    }
    return sum;
}

}  // namespace

TestPicture::TestPicture(std::int64_t pictureWidth, std::int64_t pictureHeight)
    : width(pictureWidth),
      height(pictureHeight),
      bytes(static_cast<std::size_t>(width * height) * channels) {}

TestPicture TestPicture::random(std::int64_t width, std::int64_t height, std::mt19937& generator) {
    TestPicture picture(width, height);
    for (std::uint8_t& byte : picture.bytes) {
        byte = static_cast<std::uint8_t>(generator());
    }
    return picture;
}

TestPicture TestPicture::filled(std::int64_t width, std::int64_t height,
                                std::array<std::uint8_t, channels> pixel) {
    TestPicture picture(width, height);
    for (std::size_t index = 0; index < picture.bytes.size(); ++index) {
        picture.bytes[index] = pixel[index % channels];
    }
    return picture;
}

ViewerPixelBuffer TestPicture::buffer() const {
    return {width, height, bytes.data(), bytesPerRow(), nullptr};
}

const std::uint8_t* TestPicture::pixel(std::int64_t x, std::int64_t y) const {
    return bytes.data() + static_cast<std::size_t>(y * width + x) * channels;
}

std::uint8_t* TestPicture::pixel(std::int64_t x, std::int64_t y) {
    return bytes.data() + static_cast<std::size_t>(y * width + x) * channels;
}

std::vector<double> areaAverages(const TestPicture& source, std::int64_t targetWidth,
                                 std::int64_t targetHeight) {
    const std::vector<double> numbers(source.bytes.begin(), source.bytes.end());
    const double area = static_cast<double>(source.width * source.height) /
                        static_cast<double>(targetWidth * targetHeight);
    std::vector<double> averages;
    for (std::int64_t y = 0; y < targetHeight; ++y) {
        const auto row = weightedSum(numbers, source.bytesPerRow(), source.height, y, targetHeight);
        for (std::int64_t x = 0; x < targetWidth; ++x) {
            for (const double sum :
                 weightedSum(row, TestPicture::channels, source.width, x, targetWidth)) {
                averages.push_back(sum / area);
            }
        }
    }
    return averages;
}

double signalToNoise(const TestPicture& picture, const std::vector<double>& averages) {
    double squares = 0;
    std::size_t count = 0;
    for (std::size_t index = 0; index < picture.bytes.size(); ++index) {
        if (index % TestPicture::channels != TestPicture::channels - 1) {
            const double error = picture.bytes[index] - std::floor(averages[index] + 0.5);
            squares += error * error;
            ++count;
        }
    }
    constexpr double peak = 255;
    return 10 * std::log10(peak * peak * static_cast<double>(count) / squares);
}

}  // namespace velmora
