#include "core/capture/linux/imaging/ViewerCaptureSchedule.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Step = ViewerCaptureSchedule::Step;
using Instant = ViewerCaptureSchedule::Instant;

constexpr ViewerRectangle picture{0, 0, 640, 359};
constexpr ViewerRectangle dot{5, 5, 1, 1};
constexpr milliseconds frame{40};
const Instant start{seconds(1000)};

/// One that has just begun its first frame.
ViewerCaptureSchedule current(std::optional<seconds> comparison = seconds(1)) {
    ViewerCaptureSchedule result(picture, {frame, comparison}, start);
    result.beginFrame(start);
    (void)result.takeOutdated();
    return result;
}

TEST(ViewerCaptureSchedule, AtFirstTheWholePictureIsRenewedAtOnce) {
    ViewerCaptureSchedule schedule(picture, {frame, seconds(1)}, start);

    EXPECT_EQ(schedule.stepAt(start), Step::renew);

    EXPECT_FALSE(schedule.isCurrent());
    EXPECT_EQ(schedule.takeOutdated(), std::vector{picture});
    EXPECT_TRUE(schedule.isCurrent());
}

TEST(ViewerCaptureSchedule, ChangesAreRestedForUntilTheNextFrameIsDue) {
    ViewerCaptureSchedule schedule = current();
    schedule.noticeDamage();
    EXPECT_EQ(schedule.stepAt(start + milliseconds(39)), Step::rest);
    EXPECT_EQ(schedule.wakeAfter(start + milliseconds(39)), start + frame);
    EXPECT_EQ(schedule.stepAt(start + frame), Step::renew);
    EXPECT_TRUE(schedule.takeDamage());
    EXPECT_FALSE(schedule.takeDamage());
    schedule.outdate(dot);
    EXPECT_EQ(schedule.stepAt(start + frame), Step::renew);
}

TEST(ViewerCaptureSchedule, WithoutAChangeItListensUntilTheNextComparison) {
    const ViewerCaptureSchedule schedule = current();
    EXPECT_EQ(schedule.stepAt(start + frame), Step::listen);
    EXPECT_EQ(schedule.wakeAfter(start + frame), start + seconds(1));
    EXPECT_EQ(schedule.stepAt(start + seconds(1)), Step::compare);
}

TEST(ViewerCaptureSchedule, WithoutComparisonsItListensForEver) {
    ViewerCaptureSchedule schedule = current(std::nullopt);
    EXPECT_EQ(schedule.stepAt(start + std::chrono::hours(1000)), Step::listen);
    schedule.endComparison({}, start);
    EXPECT_EQ(schedule.stepAt(start + std::chrono::hours(1000)), Step::listen);
}

TEST(ViewerCaptureSchedule, PartsAreJoinedWhoseGapCostsLessThanAnotherPart) {
    // 512 pixels cost as much as one more part.
    ViewerCaptureSchedule schedule = current();
    schedule.outdate({0, 0, 1, 1});
    schedule.outdate({513, 0, 1, 1});
    EXPECT_EQ(schedule.takeOutdated().size(), 1U);
    schedule.outdate({0, 0, 1, 1});
    schedule.outdate({514, 0, 1, 1});
    EXPECT_EQ(schedule.takeOutdated().size(), 2U);
}

TEST(ViewerCaptureSchedule, EveryRowHasItsTurn) {
    ViewerCaptureSchedule schedule = current();
    Instant now = start;
    for (int round = 0; round < 2; ++round) {
        std::int64_t row = 0;
        for (int turn = 0; turn < 10; ++turn) {
            const ViewerRectangle rows = schedule.rowsToCompare();
            EXPECT_EQ(rows, (ViewerRectangle{0, row, 640, turn < 9 ? 36 : 35}));
            row = rows.bottom();
            now += seconds(1);
            EXPECT_EQ(schedule.stepAt(now), Step::compare);
            schedule.endComparison({}, now);
        }
        EXPECT_EQ(row, picture.height);
    }
    EXPECT_TRUE(schedule.isCurrent());
}

TEST(ViewerCaptureSchedule, ATenthOfTheRowsIsRoundedUp) {
    for (const auto& [height, rows] : std::vector<std::pair<std::int64_t, std::int64_t>>{
             {10, 1}, {11, 2}, {351, 36}, {360, 36}, {361, 37}}) {
        const ViewerCaptureSchedule schedule({0, 0, 640, height}, {frame, seconds(1)}, start);
        EXPECT_EQ(schedule.rowsToCompare(), (ViewerRectangle{0, 0, 640, rows}));
        EXPECT_EQ(schedule.comparisonsPerRound(), height == 11 ? 6 : 10);
    }
}

TEST(ViewerCaptureSchedule, WhatIsFoundAndWasNotToldOfRenewsTheWholePicture) {
    ViewerCaptureSchedule schedule = current();
    schedule.outdate(dot);
    schedule.endComparison(dot, start);
    EXPECT_EQ(schedule.takeOutdated(), std::vector{dot});
    schedule.endComparison(dot, start);
    EXPECT_EQ(schedule.takeOutdated(), std::vector{picture});
}

/// How many comparisons that find nothing come at the distance of frames.
int comparisonsInDoubt(ViewerCaptureSchedule& schedule, Instant& now) {
    int count = 0;
    while (schedule.stepAt(now + frame) == Step::compare) {
        now += frame;
        schedule.endComparison({}, now);
        ++count;
    }
    return count;
}

TEST(ViewerCaptureSchedule, AfterAFindingComparisonsAreAsFrequentAsFramesForAWholeRound) {
    ViewerCaptureSchedule schedule = current();
    Instant now = start + seconds(1);
    schedule.endComparison(dot, now);
    schedule.beginFrame(now);
    (void)schedule.takeOutdated();

    EXPECT_EQ(comparisonsInDoubt(schedule, now), 10);

    EXPECT_EQ(schedule.wakeAfter(now + frame), now + seconds(1));
}

TEST(ViewerCaptureSchedule, EachFurtherFindingBeginsTheRoundAnew) {
    ViewerCaptureSchedule schedule = current();
    Instant now = start + seconds(1);
    for (int finding = 0; finding < 20; ++finding) {
        EXPECT_EQ(schedule.stepAt(now), Step::compare);
        schedule.endComparison(dot, now);
        schedule.beginFrame(now);
        (void)schedule.takeOutdated();
        now += frame;
    }
    now -= frame;
    EXPECT_EQ(comparisonsInDoubt(schedule, now), 10);
}

TEST(ViewerCaptureSchedule, WhatTheServerToldOfIsNoFinding) {
    ViewerCaptureSchedule schedule = current();
    Instant now = start + seconds(1);
    schedule.outdate({0, 0, 20, 20});
    schedule.endComparison(dot, now);
    schedule.beginFrame(now);
    (void)schedule.takeOutdated();
    EXPECT_EQ(comparisonsInDoubt(schedule, now), 0);
}

TEST(ViewerCaptureSchedule, NothingIsFetchedWhileItIsHeld) {
    ViewerCaptureSchedule schedule = current();
    schedule.holdUntil(start + seconds(3));
    EXPECT_EQ(schedule.stepAt(start + seconds(2)), Step::rest);
    schedule.outdate(dot);
    EXPECT_EQ(schedule.stepAt(start + seconds(2)), Step::rest);
    EXPECT_EQ(schedule.wakeAfter(start + seconds(2)), start + seconds(3));
    EXPECT_EQ(schedule.stepAt(start + seconds(3)), Step::renew);
}

TEST(ViewerCaptureSchedule, OfTwoThatAreDueTheOneThatWaitsLongerIsFirst) {
    ViewerCaptureSchedule schedule = current();
    schedule.outdate(dot);
    EXPECT_EQ(schedule.stepAt(start + seconds(5)), Step::renew);
    schedule.beginFrame(start + seconds(5));
    EXPECT_EQ(schedule.stepAt(start + seconds(6)), Step::compare);
    schedule.endComparison({}, start + seconds(7));
    EXPECT_EQ(schedule.stepAt(start + seconds(9)), Step::renew);
}

}  // namespace
}  // namespace velmora
