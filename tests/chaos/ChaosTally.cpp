#include "tests/chaos/ChaosTally.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace velmora {

void ChaosTally::wrong(const std::string& reason) {
    constexpr std::size_t told = 20;
    if (++wrongAnswers <= told) {
        std::ostringstream line;
        line << "wrong answer: " << reason << '\n';
        std::cerr << line.str();
    }
}

void ChaosTally::tell(const std::string& run, std::uint32_t seed) const {
    const auto lasted =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
    std::ostringstream line;
    line << run << " seed=" << seed << " seconds=" << lasted.count() << " answers=" << answers
         << " pictures=" << pictures << " wrong=" << wrongAnswers << " cut=" << cutAnswers
         << " strangers=" << strangers << " misfortunes=" << misfortunes << " restarts=" << restarts
         << " descriptors=" << descriptorDrift << " threads=" << threadDrift
         << " KiB=" << grownBytes / 1024 << " start_ms=" << longestStart.count()
         << " end_ms=" << longestEnd.count() << " listing_ms=" << longestListing.count() << '\n';
    std::cout << line.str() << std::flush;
}

void ChaosTally::expectNothingAmiss() const {
    // What an allocator may keep of a run's most crowded moment.
    constexpr std::ptrdiff_t allowedGrowth = 8L * 1024 * 1024;
    EXPECT_EQ(wrongAnswers, 0U);
    EXPECT_EQ(descriptorDrift, 0);
    EXPECT_EQ(threadDrift, 0);
    EXPECT_LT(grownBytes, allowedGrowth);
}

}  // namespace velmora
