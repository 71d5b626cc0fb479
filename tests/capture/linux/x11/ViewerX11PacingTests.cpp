#include "core/capture/linux/x11/ViewerX11Pacing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace velmora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Instant = ViewerX11Pacing::Instant;
using Duration = ViewerX11Pacing::Clock::duration;

const Instant start{seconds(1000)};

Instant at(int afterStart) {
    return start + milliseconds(afterStart);
}

/// When the next fetch may begin after one.
Instant afterAFetch(ViewerX11Pacing& pacing, Instant begin, Duration duration) {
    pacing.begin(begin);
    pacing.end(begin + duration);
    return pacing.nextFetch();
}

TEST(ViewerX11Pacing, TheFirstFetchMayBeginAtOnce) {
    EXPECT_LE(ViewerX11Pacing().nextFetch(), start);
}

TEST(ViewerX11Pacing, ThePauseIsAsLongAsTheFetch) {
    ViewerX11Pacing pacing;
    EXPECT_EQ(afterAFetch(pacing, start, milliseconds(20)), at(40));
    EXPECT_EQ(afterAFetch(pacing, at(1000), milliseconds(300)), at(1600));
}

TEST(ViewerX11Pacing, ThePauseIsASecondAtMost) {
    ViewerX11Pacing pacing;
    EXPECT_EQ(afterAFetch(pacing, start, milliseconds(1000)), at(2000));
    EXPECT_EQ(afterAFetch(pacing, at(2000), milliseconds(30000)), at(33000));
}

TEST(ViewerX11Pacing, AFetchThatIsUnderWayHoldsNoOtherBack) {
    ViewerX11Pacing pacing;
    pacing.begin(start);
    EXPECT_LE(pacing.nextFetch(), at(5));
}

TEST(ViewerX11Pacing, TimeThatTwoFetchesShareCountsOnce) {
    ViewerX11Pacing pacing;
    pacing.begin(start);
    pacing.begin(at(20));
    pacing.end(at(30));
    EXPECT_EQ(pacing.nextFetch(), at(60));
    pacing.end(at(50));
    EXPECT_EQ(pacing.nextFetch(), at(100));
}

TEST(ViewerX11Pacing, ManyFetchesThatHungTogetherAreFollowedByOneSecond) {
    ViewerX11Pacing pacing;
    for (int capture = 0; capture < 4; ++capture) {
        pacing.begin(at(capture));
    }
    for (int capture = 0; capture < 4; ++capture) {
        pacing.end(at(8000 + capture * 700));
    }
    EXPECT_EQ(pacing.nextFetch(), at(8000 + 3 * 700 + 1000));
}

/// A capture that has something to fetch all the time.
struct BusyCapture final {
    Instant due = start;
    Instant begin;
    Instant end = Instant::max();
};

/// How long the server is busy in 100 seconds with captures whose fetches take up to so long each.
Duration busyTime(std::size_t captures, std::mt19937& engine, std::uint32_t maximumMilliseconds) {
    ViewerX11Pacing pacing;
    std::vector<BusyCapture> all(captures);
    Duration busy{};
    std::size_t underWay = 0;
    for (Instant now = start; now < start + seconds(100); now += milliseconds(1)) {
        for (BusyCapture& each : all) {
            if (each.end <= now) {
                pacing.end(now);
                EXPECT_GE(pacing.nextFetch() - now,
                          std::min<Duration>(now - each.begin, seconds(1)));
                each.end = Instant::max();
                --underWay;
            }
        }
        std::shuffle(all.begin(), all.end(), engine);
        for (BusyCapture& each : all) {
            if (each.end == Instant::max() && now >= each.due && now >= pacing.nextFetch()) {
                pacing.begin(now);
                each.begin = now;
                each.due = now + milliseconds(40);
                each.end = now + milliseconds(1 + static_cast<int>(engine() % maximumMilliseconds));
                ++underWay;
            }
        }
        busy += underWay > 0 ? milliseconds(1) : milliseconds(0);
    }
    return busy;
}

TEST(ViewerX11Pacing, WhateverTheyFetchCapturesLeaveTheServerHalfOfItsTime) {
    for (std::uint32_t seed = 1; seed <= 30; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        const std::size_t captures = 1 + engine() % 4;
        const auto most = static_cast<std::uint32_t>(2 + engine() % 200);
        // The last pause may lie beyond the end.
        EXPECT_LE(busyTime(captures, engine, most), seconds(50) + milliseconds(1000));
    }
}

TEST(ViewerX11Pacing, FetchesOfLessThan20MillisecondsComeEvery40) {
    ViewerX11Pacing pacing;
    for (Instant due = start; due < start + seconds(10); due += milliseconds(40)) {
        EXPECT_LE(pacing.nextFetch(), due);
        (void)afterAFetch(pacing, due, milliseconds(20));
    }
}

}  // namespace
}  // namespace velmora
