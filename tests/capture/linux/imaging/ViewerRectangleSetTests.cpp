#include "core/capture/linux/imaging/ViewerRectangleSet.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace velmora {
namespace {

TEST(ViewerRectangleSet, IsEmptyUntilSomethingIsAdded) {
    ViewerRectangleSet set(0);
    EXPECT_TRUE(set.isEmpty());
    set.add({5, 5, 0, 3});
    EXPECT_TRUE(set.isEmpty());
    set.add({5, 5, 1, 3});
    EXPECT_FALSE(set.isEmpty());
    set.clear();
    EXPECT_TRUE(set.isEmpty());
}

TEST(ViewerRectangleSet, KeepsWhatIsFarApartApart) {
    ViewerRectangleSet set(10);
    set.add({0, 0, 10, 10});
    set.add({100, 100, 10, 10});
    EXPECT_EQ(set.rectangles().size(), 2U);
    EXPECT_TRUE(set.covers({100, 100, 10, 10}));
    EXPECT_FALSE(set.covers({0, 0, 11, 10}));
    EXPECT_FALSE(set.covers({0, 0, 110, 110}));
}

TEST(ViewerRectangleSet, JoinsWhatOverlapsOrTouches) {
    ViewerRectangleSet set(10);
    set.add({0, 0, 10, 10});
    set.add({10, 0, 10, 10});
    EXPECT_EQ(set.rectangles(), (std::vector<ViewerRectangle>{{0, 0, 20, 10}}));
    set.add({0, 0, 20, 10});
    EXPECT_EQ(set.rectangles(), (std::vector<ViewerRectangle>{{0, 0, 20, 10}}));
}

TEST(ViewerRectangleSet, JoinsWhereLittleIsWasted) {
    ViewerRectangleSet set(10);
    set.add({0, 0, 10, 10});
    set.add({11, 0, 10, 10});
    EXPECT_EQ(set.rectangles(), (std::vector<ViewerRectangle>{{0, 0, 21, 10}}));
    set.add({23, 0, 10, 10});
    EXPECT_EQ(set.rectangles().size(), 2U);
}

TEST(ViewerRectangleSet, WhatIsJoinedIsJoinedWithOthersToo) {
    ViewerRectangleSet set(0);
    set.add({0, 0, 10, 10});
    set.add({20, 0, 10, 10});
    set.add({10, 0, 10, 10});
    EXPECT_EQ(set.rectangles(), (std::vector<ViewerRectangle>{{0, 0, 30, 10}}));
}

TEST(ViewerRectangleSet, WhatHasGrownIsJoinedWithThoseThatCameBeforeToo) {
    ViewerRectangleSet set(0);
    set.add({0, 10, 20, 10});
    set.add({0, 0, 10, 10});
    EXPECT_EQ(set.rectangles().size(), 2U);
    set.add({10, 0, 10, 10});
    EXPECT_EQ(set.rectangles(), (std::vector<ViewerRectangle>{{0, 0, 20, 20}}));
}

TEST(ViewerRectangleSet, OfTooManyThoseTwoAreJoinedThatWasteLeast) {
    constexpr auto maximumCount = static_cast<std::int64_t>(ViewerRectangleSet::maximumCount);
    // Wherever the two that are nearest to each other stand, and how far apart.
    for (std::int64_t first = 0; first < maximumCount; ++first) {
        for (std::int64_t second = first + 1; second <= maximumCount; ++second) {
            SCOPED_TRACE(std::to_string(first) + " and " + std::to_string(second));
            ViewerRectangleSet set(0);
            for (std::int64_t i = 0; i <= maximumCount; ++i) {
                EXPECT_EQ(set.rectangles().size(), static_cast<std::size_t>(i));
                set.add(i == second ? ViewerRectangle{100 * first + 20, 0, 10, 10}
                                    : ViewerRectangle{100 * i, 0, 10, 10});
            }
            EXPECT_EQ(set.rectangles().size(), ViewerRectangleSet::maximumCount);
            EXPECT_EQ(set.rectangles().back(), (ViewerRectangle{100 * first, 0, 30, 10}));
        }
    }
}

TEST(ViewerRectangleSet, CoversAllThatWasAddedWithAFewRectangles) {
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        const auto below = [&](std::int64_t bound) {
            return static_cast<std::int64_t>(engine()) % bound;
        };
        ViewerRectangleSet set(below(600));
        std::vector<ViewerRectangle> added;
        for (std::int64_t count = below(60); count > 0; --count) {
            added.push_back({below(640), below(360), below(30), 1 + below(30)});
            set.add(added.back());
        }
        EXPECT_LE(set.rectangles().size(), ViewerRectangleSet::maximumCount);
        for (const ViewerRectangle& each : added) {
            EXPECT_TRUE(each.isEmpty() || set.covers(each));
        }
    }
}

}  // namespace
}  // namespace velmora
