#include "core/capture/linux/imaging/ViewerAreaPlan.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// A shared row's weight has 8 fractional bits.
constexpr double rowWeightUnit = 256;
constexpr std::int64_t maxLevel = 255;
constexpr std::int64_t maxWeight = std::numeric_limits<std::int16_t>::max();
/// With these shifts the 32-bit sums of 255 in every channel, and the bias, stay below 2^31.
constexpr int maxExactShift = 23;
constexpr int maxRoundedShift = 22;

double ratio(const ViewerAreaAxis& axis) {
    return static_cast<double>(axis.sourceLength()) / static_cast<double>(axis.targetLength());
}

/// The smallest whole number that is not below 2^shift / divisor.
std::int64_t reciprocal(int shift, std::int64_t divisor) {
    return ((std::int64_t{1} << shift) + divisor - 1) / divisor;
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
    columns_.pairs = mostPairs(columns);
    columns_.weights.resize(static_cast<std::size_t>(columns.targetLength()) * columns_.pairs *
                            ViewerAreaColumns::pixelsPerPair);
    for (std::int64_t target = 0; target < columns.targetLength(); ++target) {
        columns_.firstSource.push_back(columns.sourceBegin(target));
    }
    if (!columns.isIntegral() || !rows.isIntegral() || !planExactColumns(columns)) {
        planRoundedColumns(columns);
    }
}

std::int16_t ViewerAreaPlan::rowWeight(std::int64_t source, std::int64_t target) const {
    const double part = static_cast<double>(rows_.overlap(source, target)) /
                        static_cast<double>(rows_.targetLength());
    return static_cast<std::int16_t>(std::lround(std::ldexp(part * rowWeightUnit, rowShift_)));
}

// (sum + area / 2) / area, where a multiplication with the rounded-up reciprocal divides. That is
// exact as long as the reciprocal's error, times the largest dividend, stays below 2^shift.
bool ViewerAreaPlan::planExactColumns(const ViewerAreaAxis& axis) {
    const std::int64_t columnsPerPixel = axis.sourceLength() / axis.targetLength();
    const std::int64_t area = columnsPerPixel * (rows_.sourceLength() / rows_.targetLength());
    int shift = maxExactShift;
    while (reciprocal(shift, area) > maxWeight) {
        --shift;
    }
    const std::int64_t weight = reciprocal(shift, area);
    const std::int64_t one = std::int64_t{1} << shift;
    if ((weight * area - one) * (maxLevel * area + area / 2) >= one) {
        return false;
    }
    columns_.shift = shift;
    columns_.bias = static_cast<std::int32_t>(weight * (area / 2));
    for (std::int64_t target = 0; target < axis.targetLength(); ++target) {
        std::fill_n(weightsOf(target), columnsPerPixel, static_cast<std::int16_t>(weight));
    }
    return true;
}

void ViewerAreaPlan::planRoundedColumns(const ViewerAreaAxis& axis) {
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
