#include "core/coordination/ViewerFrameAccumulator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using Frame = std::optional<ViewerHostFrame>;

ViewerBytes jpegOfSize(std::size_t size) {
    return ViewerBytes(std::vector<std::uint8_t>(size));
}

ViewerHostFrame frame(const char* jpeg, const char* sequence) {
    return {ViewerBytes(jpeg), sequence};
}

TEST(ViewerFrameAccumulator, ThereIsNoFrameAtFirst) {
    const ViewerFrameAccumulator accumulator("p");
    EXPECT_EQ(accumulator.latest(), std::nullopt);
}

TEST(ViewerFrameAccumulator, FramesAreNumberedFromOne) {
    ViewerFrameAccumulator accumulator("p");
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-1"));
    EXPECT_EQ(accumulator.latest(), frame("A", "p-1"));
    EXPECT_EQ(accumulator.submit(ViewerBytes("B")), frame("B", "p-2"));
    EXPECT_EQ(accumulator.latest(), frame("B", "p-2"));
}

TEST(ViewerFrameAccumulator, TheNumberIsNotPadded) {
    ViewerFrameAccumulator accumulator("p");
    for (int number = 1; number < 17; ++number) {
        (void)accumulator.submit(ViewerBytes(std::to_string(number)));  // only counted
    }
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-17"));
}

TEST(ViewerFrameAccumulator, AnEmptyImageIsRefusedAndChangesNothing) {
    ViewerFrameAccumulator accumulator("p");
    EXPECT_EQ(accumulator.submit(ViewerBytes()), std::nullopt);
    EXPECT_EQ(accumulator.submit(ViewerBytes("")), std::nullopt);
    EXPECT_EQ(accumulator.latest(), std::nullopt);
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-1"));
    EXPECT_EQ(accumulator.submit(ViewerBytes()), std::nullopt);
    EXPECT_EQ(accumulator.latest(), frame("A", "p-1"));
}

TEST(ViewerFrameAccumulator, TheLongestImageHas2097152Bytes) {
    ViewerFrameAccumulator accumulator("p");
    const Frame longest = accumulator.submit(jpegOfSize(2'097'152));
    ASSERT_TRUE(longest);
    EXPECT_EQ(longest->jpeg, jpegOfSize(2'097'152));
    EXPECT_EQ(accumulator.submit(jpegOfSize(2'097'153)), std::nullopt);
    EXPECT_EQ(accumulator.latest(), longest);
}

TEST(ViewerFrameAccumulator, TheSameImageKeepsItsFrame) {
    ViewerFrameAccumulator accumulator("p");
    const ViewerBytes first("A");
    EXPECT_EQ(accumulator.submit(first), frame("A", "p-1"));
    const Frame again = accumulator.submit(ViewerBytes("A"));
    EXPECT_EQ(again, frame("A", "p-1"));
    EXPECT_EQ(again->jpeg.data(), first.data()) << "the frame itself is kept, not its equal";
    EXPECT_EQ(accumulator.submit(ViewerBytes("B")), frame("B", "p-2"));
}

TEST(ViewerFrameAccumulator, OnlyTheNewestFrameIsCompared) {
    ViewerFrameAccumulator accumulator("p");
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-1"));
    EXPECT_EQ(accumulator.submit(ViewerBytes("B")), frame("B", "p-2"));
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-3"));
}

TEST(ViewerFrameAccumulator, ANumberIsNotRepeatedAfterAClear) {
    ViewerFrameAccumulator accumulator("p");
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-1"));
    accumulator.clear();
    EXPECT_EQ(accumulator.latest(), std::nullopt);
    EXPECT_EQ(accumulator.submit(ViewerBytes("A")), frame("A", "p-2"));
}

TEST(ViewerFrameAccumulator, WhatWasCapturedBeforeAClearIsRefused) {
    ViewerFrameAccumulator accumulator("p");
    const auto before = accumulator.epoch();
    EXPECT_EQ(accumulator.submit(ViewerBytes("A"), before), frame("A", "p-1"));
    accumulator.clear();
    EXPECT_EQ(accumulator.submit(ViewerBytes("B"), before), std::nullopt);
    EXPECT_EQ(accumulator.latest(), std::nullopt);
    EXPECT_EQ(accumulator.submit(ViewerBytes("C"), accumulator.epoch()), frame("C", "p-2"));
    EXPECT_EQ(accumulator.submit(ViewerBytes(), accumulator.epoch()), std::nullopt);
    EXPECT_EQ(accumulator.submit(jpegOfSize(2'097'153), accumulator.epoch()), std::nullopt);
}

TEST(ViewerFrameAccumulator, APrefixIsTheProcesssTokenAndTheSessions) {
    const std::string one = ViewerFrameAccumulator::makeSequencePrefix();
    const std::string other = ViewerFrameAccumulator::makeSequencePrefix();
    const std::regex form("[0-9a-f]{32}-[0-9a-f]{32}");
    EXPECT_TRUE(std::regex_match(one, form)) << one;
    EXPECT_TRUE(std::regex_match(other, form)) << other;
    EXPECT_EQ(one.substr(0, 33), other.substr(0, 33));
    EXPECT_NE(one.substr(33), other.substr(33));
    EXPECT_NE(one.substr(0, 32), one.substr(33));
}

TEST(ViewerFrameAccumulator, SubmittersOnSeveralThreadsNeverShareANumber) {
    constexpr int threads = 4;
    constexpr int framesPerThread = 500;
    ViewerFrameAccumulator accumulator("p");
    std::vector<std::vector<std::string>> sequences(threads);
    std::vector<std::thread> submitters;
    submitters.reserve(threads);
    for (int thread = 0; thread < threads; ++thread) {
        submitters.emplace_back([&accumulator, thread, &own = sequences[std::size_t(thread)]] {
            for (int number = 0; number < framesPerThread; ++number) {
                const std::string image = std::to_string(thread) + "/" + std::to_string(number);
                own.emplace_back(accumulator.submit(ViewerBytes(image))->sequence);
                (void)accumulator.latest();  // only for the race
            }
        });
    }
    for (std::thread& submitter : submitters) {
        submitter.join();
    }
    std::set<std::string> distinct;
    for (const auto& own : sequences) {
        distinct.insert(own.begin(), own.end());
    }
    EXPECT_EQ(distinct.size(), std::size_t(threads * framesPerThread));
    EXPECT_EQ(accumulator.submit(ViewerBytes("last"))->sequence, "p-2001");
}

}  // namespace
}  // namespace velmora
