#include "viewerctl/ViewerBackOff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace velmora {

namespace {

TEST(ViewerBackOff, DoublesUpToALimitAndStaysWithinHalfOfIt) {
    for (std::uint32_t seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        ViewerBackOff backOff(ViewerBackOff::longest, seed);
        auto whole = ViewerBackOff::shortest;
        for (int failure = 0; failure < 12; ++failure) {
            const auto pause = backOff.next();
            EXPECT_GE(pause, whole / 2);
            EXPECT_LE(pause, whole);
            whole = std::min(2 * whole, ViewerBackOff::longest);
        }
        EXPECT_EQ(whole, ViewerBackOff::longest);
    }
}

TEST(ViewerBackOff, BeginsAnewAfterSuccess) {
    ViewerBackOff backOff(ViewerBackOff::longest, 1);
    for (int failure = 0; failure < 12; ++failure) {
        (void)backOff.next();
    }
    backOff.reset();
    EXPECT_LE(backOff.next(), ViewerBackOff::shortest);
}

TEST(ViewerBackOff, IsNotInStepWithOthers) {
    ViewerBackOff one(ViewerBackOff::longest, 1);
    ViewerBackOff other(ViewerBackOff::longest, 2);
    EXPECT_NE(one.next(), other.next());
}

}  // namespace

}  // namespace velmora
