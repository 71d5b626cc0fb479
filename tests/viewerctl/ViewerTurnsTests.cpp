#include "viewerctl/ViewerTurns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

namespace velmora {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using TimePoint = ViewerTurns::TimePoint;

const TimePoint start{std::chrono::hours(1)};

/// A wall's displays, each of which asks as soon as its time comes, on a clock of their own.
class Wall final {
  public:
    Wall(std::uint32_t displays, milliseconds interval, milliseconds duration)
        : interval_(interval), duration_(duration) {
        for (std::uint32_t display = 1; display <= displays; ++display) {
            displays_[display].due = start;
        }
    }

    /// Lets so much time pass, in steps.
    void pass(milliseconds time) {
        for (const TimePoint end = now_ + time; now_ < end; now_ += milliseconds(50)) {
            for (auto& [display, state] : displays_) {
                if (state.isAsked && now_ >= state.requestEnd) {
                    turns.end(display, now_);
                    state.isAsked = false;
                    state.heldByHost = now_ + seconds(5);
                } else if (!state.isAsked && now_ >= state.due) {
                    ask(display, state);
                }
            }
            mostCaptured = std::max(mostCaptured, captured());
        }
    }

    std::size_t requests(std::uint32_t display) const { return displays_.at(display).requests; }
    /// The longest time that any display has waited for its turn.
    milliseconds longestRest() const { return longestRest_; }

    ViewerTurns turns;
    std::size_t mostCaptured = 0;
    bool hasRested = false;

  private:
    struct State final {
        bool isAsked = false;
        TimePoint requestEnd;
        TimePoint due;
        TimePoint heldByHost;
        std::size_t requests = 0;
    };

    void ask(std::uint32_t display, State& state) {
        if (!turns.begin(display, now_)) {
            hasRested = true;
            longestRest_ =
                std::max(longestRest_, std::chrono::duration_cast<milliseconds>(now_ - state.due));
            return;
        }
        state.isAsked = true;
        state.requestEnd = now_ + duration_;
        state.due = now_ + interval_;
        ++state.requests;
    }

    /// What the host captures: while it is asked, and for 5 seconds behind that.
    std::size_t captured() const {
        return static_cast<std::size_t>(
            std::count_if(displays_.begin(), displays_.end(), [this](const auto& each) {
                return each.second.isAsked || each.second.heldByHost > now_;
            }));
    }

    const milliseconds interval_;
    const milliseconds duration_;
    std::map<std::uint32_t, State> displays_;
    TimePoint now_ = start;
    milliseconds longestRest_{};
};

TEST(ViewerTurns, FourDisplaysNeverRest) {
    Wall wall(4, milliseconds(200), milliseconds(50));
    wall.pass(seconds(60));
    EXPECT_FALSE(wall.hasRested);
    EXPECT_GE(wall.requests(4), 200U);
}

TEST(ViewerTurns, SixDisplaysEachGetTheirTurnAndNeverAreFiveCaptured) {
    Wall wall(6, seconds(1), milliseconds(100));
    wall.pass(seconds(60));
    for (std::uint32_t display = 1; display <= 6; ++display) {
        EXPECT_GE(wall.requests(display), 15U) << display;
    }
    EXPECT_EQ(wall.mostCaptured, ViewerTurns::mostHeld);
    EXPECT_LE(wall.longestRest(), seconds(13));
}

TEST(ViewerTurns, ManyDisplaysThatAreAskedSeldomRestOnlyUntilAPlaceIsFree) {
    Wall wall(6, seconds(60), milliseconds(100));
    wall.pass(seconds(50));
    EXPECT_EQ(wall.requests(6), 1U);
    EXPECT_LE(wall.longestRest(), seconds(6));
}

TEST(ViewerTurns, AFifthWaitsUntilTheHostLetsGoOfOneThatNobodyWantsAnyMore) {
    ViewerTurns turns;
    for (std::uint32_t display = 1; display <= 4; ++display) {
        EXPECT_TRUE(turns.begin(display, start));
        turns.end(display, start);
    }
    EXPECT_FALSE(turns.begin(5, start + seconds(5)));
    EXPECT_TRUE(turns.begin(5, start + ViewerTurns::hold));
}

TEST(ViewerTurns, WhoeverHasWaitedLongestIsNext) {
    ViewerTurns turns;
    for (std::uint32_t display = 1; display <= 4; ++display) {
        EXPECT_TRUE(turns.begin(display, start));
    }
    EXPECT_FALSE(turns.begin(6, start + seconds(1)));
    EXPECT_FALSE(turns.begin(5, start + seconds(2)));
    turns.end(1, start + seconds(2));
    const TimePoint free = start + seconds(2) + ViewerTurns::hold;
    EXPECT_FALSE(turns.begin(5, free));
    EXPECT_TRUE(turns.begin(6, free));
}

TEST(ViewerTurns, ATurnLastsSomeSecondsThoughOthersWait) {
    ViewerTurns turns;
    for (std::uint32_t display = 1; display <= 4; ++display) {
        EXPECT_TRUE(turns.begin(display, start));
        turns.end(display, start);
    }
    EXPECT_FALSE(turns.begin(5, start));
    EXPECT_TRUE(turns.begin(1, start + ViewerTurns::turn - milliseconds(1)));
    EXPECT_FALSE(turns.begin(2, start + ViewerTurns::turn));
}

TEST(ViewerTurns, OneThatLeavesKeepsNobodyWaiting) {
    ViewerTurns turns;
    for (std::uint32_t display = 1; display <= 4; ++display) {
        EXPECT_TRUE(turns.begin(display, start));
        turns.end(display, start);
    }
    EXPECT_FALSE(turns.begin(5, start));
    turns.leave(5);
    EXPECT_TRUE(turns.begin(1, start + ViewerTurns::turn + milliseconds(1)));
}

TEST(ViewerTurns, OneThatRestsGoesOnWhenNobodyWaitsAnyMore) {
    ViewerTurns turns;
    for (std::uint32_t display = 1; display <= 4; ++display) {
        EXPECT_TRUE(turns.begin(display, start));
        turns.end(display, start + seconds(4));
    }
    EXPECT_FALSE(turns.begin(5, start + seconds(4)));
    EXPECT_FALSE(turns.begin(1, start + seconds(5)));
    turns.leave(5);
    EXPECT_TRUE(turns.begin(1, start + seconds(6)));
}

/// Displays come and go, and are asked for any time.
class Chances final {
  public:
    explicit Chances(std::uint32_t seed) : chance_(seed) {}

    void run() {
        for (int step = 0; step < 3'000; ++step) {
            now_ += milliseconds(number(400));
            const std::uint32_t display = number(9);
            if (asked_[display]) {
                turns_.end(display, now_);
                asked_[display] = false;
            } else if (number(10) == 0) {
                turns_.leave(display);
                waitingSince_.erase(display);
            } else {
                begin(display);
            }
            ASSERT_LE(turns_.held(now_), ViewerTurns::mostHeld);
        }
    }

  private:
    std::uint32_t number(std::uint32_t end) {
        return std::uniform_int_distribution<std::uint32_t>(0, end - 1)(chance_);
    }

    void begin(std::uint32_t display) {
        const std::size_t held = turns_.held(now_);
        const bool isOnly = waitingSince_.empty() || waitingSince_.contains(display);
        if (turns_.begin(display, now_)) {
            asked_[display] = true;
            waitingSince_.erase(display);
        } else {
            EXPECT_FALSE(held < ViewerTurns::mostHeld && isOnly && waitingSince_.size() <= 1)
                << "nothing kept it from its turn";
            waitingSince_.emplace(display, now_);
        }
    }

    std::mt19937 chance_;
    ViewerTurns turns_;
    TimePoint now_ = start;
    std::map<std::uint32_t, bool> asked_;
    std::map<std::uint32_t, TimePoint> waitingSince_;
};

TEST(ViewerTurns, KeepsItsLimitWhateverHappens) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        Chances(seed).run();
        if (testing::Test::HasFailure()) {
            return;
        }
    }
}

TEST(ViewerTurns, EveryDisplayOfManyGetsItsTurn) {
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 chance(seed);
        const auto displays = std::uniform_int_distribution<std::uint32_t>(5, 16)(chance);
        const milliseconds interval(
            std::uniform_int_distribution<milliseconds::rep>(200, 4'000)(chance));
        Wall wall(displays, interval, milliseconds(100));
        wall.pass(seconds(240));
        EXPECT_LE(wall.mostCaptured, ViewerTurns::mostHeld);
        for (std::uint32_t display = 1; display <= displays; ++display) {
            EXPECT_GE(wall.requests(display), 4U) << display;
        }
    }
}

}  // namespace

}  // namespace velmora
