#pragma once

#include <cstdint>
#include <vector>

#include "core/capture/linux/imaging/ViewerAreaAxis.h"
#include "core/capture/linux/imaging/ViewerAreaColumns.h"

namespace velmora {

/// The fixed-point form of an area average, made for instructions on 16-bit lanes. First the source
/// rows under a target row are summed: whole rows plainly, the at most two shared ones with a
/// weight. Then the columns of these sums are averaged. Integral ratios whose product is at most
/// 128 give the exact average, others one that is a few hundredths of a level off at most; each is
/// then rounded. An immutable value; any thread.
class ViewerAreaPlan final {
  public:
    /// The largest ratio of source to target at which 16-bit sums cannot overflow.
    static constexpr std::int64_t maxRatio = 128;

    /// REQUIRES: no ratio of source to target is above maxRatio.
    ViewerAreaPlan(const ViewerAreaAxis& columns, const ViewerAreaAxis& rows);

    static bool isPossible(const ViewerAreaAxis& axis) {
        return axis.sourceLength() <= maxRatio * axis.targetLength();
    }

    /// A sum is the sum of the whole source rows times 2^rowShift, and of the weighted ones.
    int rowShift() const { return rowShift_; }
    /// The weight of a source row under a target row, 256 × 2^rowShift for a whole one.
    std::int16_t rowWeight(std::int64_t source, std::int64_t target) const;
    const ViewerAreaColumns& columns() const { return columns_; }

  private:
    void planWholeColumns(std::int64_t area, std::int64_t columnsPerPixel);
    void planRoundedColumns(const ViewerAreaAxis& axis);
    /// Where the weights of a target pixel begin.
    std::vector<std::int16_t>::iterator weightsOf(std::int64_t target);

    ViewerAreaAxis rows_;
    int rowShift_ = 0;
    ViewerAreaColumns columns_;
};

}  // namespace velmora
