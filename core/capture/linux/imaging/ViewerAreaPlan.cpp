#include "core/capture/linux/imaging/ViewerAreaPlan.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// A shared row's weight has 8 fractional bits.
constexpr double rowWeightUnit = 256;
/// The sum of as many levels is exactly divided by the multiplication with a 16-bit reciprocal.
constexpr std::int64_t maxWholeArea = 128;
constexpr std::int64_t maxWeight = std::numeric_limits<std::int16_t>::max();
/// With this shift the 32-bit sums of 255 in every channel, and the bias, stay below 2^31.
constexpr int maxRoundedShift = 22;
/// The product of two 16-bit numbers loses its lower half.
constexpr int productShift = 16;

double ratio(const ViewerAreaAxis& axis) {
    return static_cast<double>(axis.sourceLength()) / static_cast<double>(axis.targetLength());
}

/// How many source pixels a target pixel has, or nothing where they are no whole number, or too
/// many.
std::optional<std::int64_t> wholeArea(const ViewerAreaAxis& columns, const ViewerAreaAxis& rows) {
    const std::int64_t area = (columns.sourceLength() / columns.targetLength()) *
                              (rows.sourceLength() / rows.targetLength());
    const bool isWhole =
        columns.isIntegral() && rows.isIntegral() && area > 1 && area <= maxWholeArea;
    return isWhole ? std::optional(area) : std::nullopt;
}

std::size_t mostPairs(const ViewerAreaAxis& axis) {
    std::int64_t most = 0;
    for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
        most = std::max(most, axis.sourceEnd(target) - axis.sourceBegin(target));
    }
    return (static_cast<std::size_t>(most) + ViewerAreaColumns::pixelsPerPair - 1) /
           ViewerAreaColumns::pixelsPerPair;
}

}  // namespace

ViewerAreaPlan::ViewerAreaPlan(const ViewerAreaAxis& columns, const ViewerAreaAxis& rows)
    : rows_(rows) {
    viewerCheck(isPossible(columns) && isPossible(rows), "16-bit sums hold the average's ratio");
    // Fractional rows need fractional bits: as many as there is room for.
    while (!rows.isIntegral() &&
           (rows.sourceLength() << (rowShift_ + 1)) <= maxRatio * rows.targetLength()) {
        ++rowShift_;
    }
    for (std::int64_t target = 0; target < columns.targetLength(); ++target) {
        columns_.firstSource.push_back(columns.sourceBegin(target));
    }
    if (const auto area = wholeArea(columns, rows)) {
        planWholeColumns(*area, columns.sourceLength() / columns.targetLength());
    } else {
        planRoundedColumns(columns);
    }
}

std::int16_t ViewerAreaPlan::rowWeight(std::int64_t source, std::int64_t target) const {
    const double part = static_cast<double>(rows_.overlap(source, target)) /
                        static_cast<double>(rows_.targetLength());
    return static_cast<std::int16_t>(std::lround(std::ldexp(part * rowWeightUnit, rowShift_)));
}

// (sum + area / 2) / area, where a multiplication with the rounded-up reciprocal divides. That is
// exact as long as the reciprocal's error, times the largest dividend, stays below 2^16 << shift,
// which is so for each area that is allowed.
void ViewerAreaPlan::planWholeColumns(std::int64_t area, std::int64_t columnsPerPixel) {
    const auto reciprocal = [area](int shift) {
        return ((std::int64_t{1} << (productShift + shift)) + area - 1) / area;
    };
    int shift = 0;
    while (reciprocal(shift + 1) <= std::numeric_limits<std::uint16_t>::max()) {
        ++shift;
    }
    columns_.whole = {static_cast<std::size_t>(columnsPerPixel),
                      static_cast<std::uint16_t>(area / 2),
                      static_cast<std::uint16_t>(reciprocal(shift)), shift};
}

void ViewerAreaPlan::planRoundedColumns(const ViewerAreaAxis& axis) {
    columns_.pairs = mostPairs(axis);
    columns_.weights.resize(static_cast<std::size_t>(axis.targetLength()) * columns_.pairs *
                            ViewerAreaColumns::pixelsPerPair);
    const double sumsPerLevel = std::ldexp(ratio(rows_), rowShift_);
    const double wholeWeight = 1 / (sumsPerLevel * ratio(axis));
    columns_.shift = maxRoundedShift;
    while (std::ldexp(wholeWeight, columns_.shift) > static_cast<double>(maxWeight - 1)) {
        --columns_.shift;
    }
    columns_.bias = std::int32_t{1} << (columns_.shift - 1);
    const double unit =
        std::ldexp(wholeWeight, columns_.shift) / static_cast<double>(axis.targetLength());
    for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
        // Rounding the running total instead of each weight makes every target pixel's weights add
        // up to the same, so that an even area keeps its colour.
        auto weight = weightsOf(target);
        std::int64_t total = 0;
        std::int64_t roundedTotal = 0;
        for (std::int64_t source = axis.sourceBegin(target); source < axis.sourceEnd(target);
             ++source) {
            total += axis.overlap(source, target);
            const std::int64_t rounded = std::llround(unit * static_cast<double>(total));
            *weight++ = static_cast<std::int16_t>(rounded - roundedTotal);
            roundedTotal = rounded;
        }
    }
}

std::vector<std::int16_t>::iterator ViewerAreaPlan::weightsOf(std::int64_t target) {
    const auto weightsPerPixel =
        static_cast<std::ptrdiff_t>(columns_.pairs * ViewerAreaColumns::pixelsPerPair);
    return columns_.weights.begin() + target * weightsPerPixel;
}

}  // namespace velmora
