#include "bench/capture/Comparison.h"

#include <algorithm>
#include <cstdio>

#include "bench/Measuring.h"

namespace velmora::bench {

bool Comparison::report(const char* measure, const char* unit, const char* anchorName,
                        double mostRatio) const {
    std::vector<double> ratios;
    ratios.reserve(host.size());
    for (std::size_t i = 0; i < host.size(); ++i) {
        ratios.push_back(host[i] / anchor[i]);
    }
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-24s %7.3f %-2s  %-20s %7.3f %-2s  ratio %.3f  (%.3f ... %.3f)", measure,
                median(host), unit, anchorName, median(anchor), unit, median(ratios), *least,
                *most);
    if (mostRatio < nothingRequired) {
        std::printf("  must %.2f", mostRatio);
    }
    std::printf("\n");
    (void)std::fflush(stdout);  // only so that a reader sees the lines as they come
    return median(ratios) <= mostRatio;
}

}  // namespace velmora::bench
