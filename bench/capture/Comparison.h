#pragma once

#include <cstddef>
#include <vector>

namespace velmora::bench {

/// The rounds of one measure of the host and of an anchor; values at the same place were taken one
/// right after the other. A plain value.
struct Comparison final {
    std::vector<double> host;
    std::vector<double> anchor;

    /// Prints a line; true when the median of the rounds' ratios is at most `mostRatio`, or nothing
    /// is required.
    bool report(const char* measure, const char* unit, const char* anchorName,
                double mostRatio) const;
    static constexpr double nothingRequired = 1e9;
};

/// Runs both in each round; who is first changes, so that a load which rises favours neither.
template <typename First, typename Second>
void alternate(std::size_t rounds, const First& first, const Second& second) {
    for (std::size_t i = 0; i < rounds; ++i) {
        if (i % 2 == 0) {
            first();
        }
        second();
        if (i % 2 != 0) {
            first();
        }
    }
}

}  // namespace velmora::bench
