#include "core/capture/linux/imaging/ViewerAreaAverage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "core/capture/linux/imaging/ViewerAreaKernels.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::size_t bytesPerPixel = 4;

/// One call of `reduce`: both pictures in memory, addressed by the coordinates of the whole ones.
struct Reduction final {
    ViewerRectangle target;
    ViewerRectangle source;
    const std::uint8_t* sourceFirst;
    std::size_t sourceBytesPerRow;
    std::uint8_t* targetFirst;
    std::size_t targetBytesPerRow;

    const std::uint8_t* sourcePixel(std::int64_t x, std::int64_t y) const {
        return sourceFirst + static_cast<std::size_t>(y - source.y) * sourceBytesPerRow +
               static_cast<std::size_t>(x - source.x) * bytesPerPixel;
    }
    std::uint8_t* targetPixel(std::int64_t x, std::int64_t y) const {
        return targetFirst + static_cast<std::size_t>(y) * targetBytesPerRow +
               static_cast<std::size_t>(x) * bytesPerPixel;
    }
};

void copyPixels(const Reduction& reduction) {
    const std::size_t rowBytes = static_cast<std::size_t>(reduction.target.width) * bytesPerPixel;
    for (std::int64_t y = reduction.target.y; y < reduction.target.bottom(); ++y) {
        std::memcpy(reduction.targetPixel(reduction.target.x, y),
                    reduction.sourcePixel(reduction.target.x, y), rowBytes);
    }
}

/// The average of any area, one pixel after the other.
void averageSlowly(const Reduction& reduction, const ViewerAreaAxis& columns,
                   const ViewerAreaAxis& rows, std::int64_t x, std::int64_t y) {
    std::array<std::uint64_t, bytesPerPixel> sums{};
    for (std::int64_t row = rows.sourceBegin(y); row < rows.sourceEnd(y); ++row) {
        for (std::int64_t column = columns.sourceBegin(x); column < columns.sourceEnd(x);
             ++column) {
            const auto weight =
                static_cast<std::uint64_t>(rows.overlap(row, y) * columns.overlap(column, x));
            const std::uint8_t* pixel = reduction.sourcePixel(column, row);
            for (std::size_t channel = 0; channel < bytesPerPixel; ++channel) {
                sums[channel] += weight * pixel[channel];
            }
        }
    }
    const auto area = static_cast<std::uint64_t>(columns.sourceLength() * rows.sourceLength());
    std::uint8_t* pixel = reduction.targetPixel(x, y);
    for (std::size_t channel = 0; channel < bytesPerPixel; ++channel) {
        pixel[channel] = static_cast<std::uint8_t>((sums[channel] + area / 2) / area);
    }
}

/// Sums the source rows under target row `y`, from column `column` on; `next` comes after these.
void sumRowsUnder(const Reduction& reduction, const ViewerAreaPlan& plan,
                  const ViewerAreaAxis& rows, std::int64_t y, std::int64_t column,
                  std::span<std::int16_t> sums, const ViewerAreaKernels::Rows& next) {
    std::int64_t begin = rows.sourceBegin(y);
    std::int64_t end = rows.sourceEnd(y);
    const std::int64_t first = begin;
    const std::int64_t last = end - 1;
    const bool isFirstShared = rows.overlap(first, y) < rows.targetLength();
    const bool isLastShared = last > first && rows.overlap(last, y) < rows.targetLength();
    begin += isFirstShared ? 1 : 0;
    end -= isLastShared ? 1 : 0;
    ViewerAreaKernels::sumRows({reduction.sourcePixel(column, begin), reduction.sourceBytesPerRow,
                                static_cast<std::size_t>(end - begin)},
                               plan.rowShift(), sums, next);
    if (isFirstShared) {
        ViewerAreaKernels::addRow(reduction.sourcePixel(column, first), plan.rowWeight(first, y),
                                  sums);
    }
    if (isLastShared) {
        ViewerAreaKernels::addRow(reduction.sourcePixel(column, last), plan.rowWeight(last, y),
                                  sums);
    }
}

/// The sums of a part of a row: small enough for the innermost cache, and for the stack.
constexpr std::int64_t columnsAtOnce = 2048;
/// Target pixels differ by at most one in their source columns, which come in pairs: the last one
/// may read as many columns too far, with a weight of 0.
constexpr std::int64_t columnsPast = 2;
static_assert(columnsAtOnce - 2 >= ViewerAreaPlan::maxRatio, "a part has a target pixel");

void reducePlanned(const Reduction& reduction, const ViewerAreaPlan& plan,
                   const ViewerAreaAxis& columns, const ViewerAreaAxis& rows) {
    // A part of n target pixels has at most n × ratio + 2 source columns.
    const std::int64_t most = (columnsAtOnce - 2) * columns.targetLength() / columns.sourceLength();
    std::array<std::int16_t, (columnsAtOnce + columnsPast) * bytesPerPixel> sums{};
    for (std::int64_t y = reduction.target.y; y < reduction.target.bottom(); ++y) {
        for (std::int64_t x = reduction.target.x; x < reduction.target.right(); x += most) {
            const std::int64_t count = std::min(most, reduction.target.right() - x);
            const std::int64_t column = columns.sourceBegin(x);
            const auto lanes =
                static_cast<std::size_t>(columns.sourceEnd(x + count - 1) - column) * bytesPerPixel;
            const bool isRowDone = x + count == reduction.target.right();
            const ViewerAreaKernels::Rows next{
                isRowDone
                    ? reduction.sourcePixel(reduction.source.x, rows.sourceEnd(y))
                    : reduction.sourcePixel(columns.sourceBegin(x + count), rows.sourceBegin(y)),
                reduction.sourceBytesPerRow,
                static_cast<std::size_t>(rows.sourceEnd(y) - rows.sourceBegin(y))};
            sumRowsUnder(reduction, plan, rows, y, column, std::span(sums).first(lanes), next);
            ViewerAreaKernels::averageColumns(plan.columns(), static_cast<std::size_t>(x),
                                              static_cast<std::size_t>(count), sums.data(),
                                              reduction.targetPixel(x, y), next);
        }
    }
}

}  // namespace

ViewerAreaAverage::ViewerAreaAverage(std::int64_t sourceWidth, std::int64_t sourceHeight,
                                     std::int64_t targetWidth, std::int64_t targetHeight)
    : columns_(sourceWidth, targetWidth), rows_(sourceHeight, targetHeight) {
    if (ViewerAreaPlan::isPossible(columns_) && ViewerAreaPlan::isPossible(rows_)) {
        plan_.emplace(columns_, rows_);
    }
}

ViewerRectangle ViewerAreaAverage::sourceFor(const ViewerRectangle& target) const {
    const ViewerRectangle inside = intersection(target, {0, 0, targetWidth(), targetHeight()});
    if (inside.isEmpty()) {
        return {};
    }
    const std::int64_t left = columns_.sourceBegin(inside.x);
    const std::int64_t top = rows_.sourceBegin(inside.y);
    return {left, top, columns_.sourceEnd(inside.right() - 1) - left,
            rows_.sourceEnd(inside.bottom() - 1) - top};
}

ViewerRectangle ViewerAreaAverage::targetFor(const ViewerRectangle& source) const {
    const ViewerRectangle inside = intersection(source, {0, 0, sourceWidth(), sourceHeight()});
    if (inside.isEmpty()) {
        return {};
    }
    const std::int64_t left = columns_.targetBegin(inside.x);
    const std::int64_t top = rows_.targetBegin(inside.y);
    return {left, top, columns_.targetEnd(inside.right() - 1) - left,
            rows_.targetEnd(inside.bottom() - 1) - top};
}

void ViewerAreaAverage::reduce(const ViewerRectangle& target, const std::uint8_t* source,
                               std::size_t sourceBytesPerRow, std::uint8_t* targetPixels,
                               std::size_t targetBytesPerRow) const {
    const ViewerRectangle inside = intersection(target, {0, 0, targetWidth(), targetHeight()});
    if (inside.isEmpty()) {
        return;
    }
    viewerCheck(inside == target, "a reduced rectangle lies inside the target picture");
    const Reduction reduction{target,       sourceFor(target), source, sourceBytesPerRow,
                              targetPixels, targetBytesPerRow};
    if (sourceWidth() == targetWidth() && sourceHeight() == targetHeight()) {
        copyPixels(reduction);
    } else if (plan_) {
        reducePlanned(reduction, *plan_, columns_, rows_);
    } else {
        for (std::int64_t y = target.y; y < reduction.target.bottom(); ++y) {
            for (std::int64_t x = target.x; x < reduction.target.right(); ++x) {
                averageSlowly(reduction, columns_, rows_, x, y);
            }
        }
    }
}

}  // namespace velmora
