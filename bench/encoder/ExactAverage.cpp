#include "bench/encoder/ExactAverage.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace velmora::bench {

namespace {

constexpr std::size_t channels = 4;

/// Averages `sources` vectors of `length` numbers down to `targets`, in order.
std::vector<double> averaged(std::span<const double> numbers, std::size_t length,
                             std::int64_t sources, std::int64_t targets) {
    const double ratio = static_cast<double>(sources) / static_cast<double>(targets);
    std::vector<double> result(static_cast<std::size_t>(targets) * length);
    for (std::int64_t target = 0; target < targets; ++target) {
        double* sums = &result[static_cast<std::size_t>(target) * length];
        const std::int64_t end = ((target + 1) * sources + targets - 1) / targets;
        for (std::int64_t source = target * sources / targets; source < end; ++source) {
            // In units of 1 / targets of a source all edges are whole numbers.
            const std::int64_t overlap = std::min((source + 1) * targets, (target + 1) * sources) -
                                         std::max(source * targets, target * sources);
            const double weight =
                static_cast<double>(overlap) / static_cast<double>(targets) / ratio;
            for (std::size_t index = 0; index < length; ++index) {
                sums[index] += weight * numbers[static_cast<std::size_t>(source) * length + index];
            }
        }
    }
    return result;
}

}  // namespace

std::vector<std::uint8_t> exactAverage(const std::vector<std::uint8_t>& pixels, std::int64_t width,
                                       std::int64_t height, std::int64_t targetWidth,
                                       std::int64_t targetHeight) {
    const std::vector<double> numbers(pixels.begin(), pixels.end());
    const std::size_t sourceRow = static_cast<std::size_t>(width) * channels;
    const auto rows = averaged(numbers, sourceRow, height, targetHeight);
    std::vector<std::uint8_t> result;
    for (std::int64_t y = 0; y < targetHeight; ++y) {
        const auto row =
            std::span(rows).subspan(static_cast<std::size_t>(y) * sourceRow, sourceRow);
        for (const double level : averaged(row, channels, width, targetWidth)) {
            // Ties go up, also where the last bits of the weights have made them a little less.
            constexpr double lastBits = 1e-9;
            result.push_back(static_cast<std::uint8_t>(std::floor(level + 0.5 + lastBits)));
        }
    }
    return result;
}

double signalToNoise(const std::vector<std::uint8_t>& picture,
                     const std::vector<std::uint8_t>& reference) {
    double squares = 0;
    std::size_t count = 0;
    for (std::size_t index = 0; index < picture.size(); ++index) {
        if (index % channels != channels - 1) {
            const double error = picture[index] - reference[index];
            squares += error * error;
            ++count;
        }
    }
    constexpr double peak = 255;
    return 10 * std::log10(peak * peak * static_cast<double>(count) / squares);
}

}  // namespace velmora::bench
