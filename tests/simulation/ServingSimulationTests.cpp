#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/simulation/ServingSimulation.h"

namespace velmora {
namespace {

constexpr std::uint64_t seeds = 300;

TEST(ServingSimulation, WhateverHappensEveryConnectionEndsAndEveryAnswerIsRight) {
    std::size_t mostServed = 0;
    std::size_t mostRouted = 0;
    std::size_t answered = 0;
    std::size_t stoppedEarly = 0;
    std::size_t neverServed = 0;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE(seed);
        ServingSimulation simulation(seed);
        simulation.run();
        mostServed = std::max(mostServed, simulation.mostServed());
        mostRouted = std::max(mostRouted, simulation.mostRouted());
        answered += simulation.answered();
        stoppedEarly += simulation.wasStoppedEarly() ? 1U : 0U;
        neverServed += simulation.neverServed();
        if (HasFailure()) {
            return;  // the first seed that fails says enough
        }
    }
    // What was looked for did come up.
    EXPECT_EQ(mostServed, 16U);
    EXPECT_GE(mostRouted, 8U);
    EXPECT_GT(answered, 10 * seeds);
    EXPECT_GT(stoppedEarly, seeds / 4);
    EXPECT_LT(stoppedEarly, seeds);
    EXPECT_GT(neverServed, 0U);
}

TEST(ServingSimulation, ARunIsTheSameWheneverItIsPlayed) {
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        ServingSimulation once(seed);
        once.run();
        ServingSimulation again(seed);
        again.run();
        EXPECT_EQ(once.ends(), again.ends());
    }
}

}  // namespace
}  // namespace velmora
