#include "core/capture/linux/wayland/outputs/ViewerStreamMatching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using Outputs = std::vector<ViewerWaylandOutput>;
using Streams = std::vector<ViewerGrantedStream>;
using Nodes = std::vector<ViewerStreamNode>;

// The outputs' numbers; before them, that of no output and that of one of several like ones.
enum : std::int64_t { none = -1, someOne, a, b, c };

/// An output of that size in logical coordinates and, unless said otherwise, in pixels.
ViewerWaylandOutput output(std::int64_t global, std::string connector,
                           ViewerLogicalPosition position, ViewerLogicalSize size) {
    ViewerWaylandOutput result;
    result.global = static_cast<std::uint32_t>(global);
    result.connector = std::move(connector);
    result.position = position;
    result.logicalSize = size;
    result.mode = {size.width, size.height};
    return result;
}

ViewerWaylandOutput withMode(ViewerWaylandOutput result, ViewerWaylandOutput::PixelSize mode,
                             std::int32_t transform = 0) {
    result.mode = mode;
    result.transform = transform;
    return result;
}

/// What GNOME tells of a monitor, and newer KDEs.
ViewerGrantedStream placed(ViewerLogicalPosition position, ViewerLogicalSize size,
                           std::string mappingId = "") {
    return {.position = position,
            .size = size,
            .sourceType = ViewerGrantedStream::monitor,
            .mappingId = std::move(mappingId)};
}

/// What KDE tells up to 6.2.
ViewerGrantedStream sized(ViewerLogicalSize size) {
    return {.size = size, .sourceType = ViewerGrantedStream::monitor};
}

ViewerGrantedStream ofType(ViewerGrantedStream stream, std::uint32_t type) {
    stream.sourceType = type;
    return stream;
}

/// What the portal of wlroots tells in version 0.7.
ViewerGrantedStream ofWlroots(ViewerLogicalSize size) {
    return placed({0, 0}, size);
}

constexpr ViewerLogicalSize fullHD = {1920, 1080};
constexpr ViewerLogicalSize ultraHD = {3840, 2160};
constexpr ViewerLogicalSize small = {1280, 720};

Outputs twoUnlike() {
    return {output(a, "DP-1", {0, 0}, fullHD), output(b, "HDMI-A-1", {1920, 0}, small)};
}

Outputs twoEqual() {
    return {output(a, "DP-1", {0, 0}, fullHD), output(b, "DP-2", {1920, 0}, fullHD)};
}

struct Case final {
    std::string name;
    Outputs outputs;
    Streams streams;
    /// By stream: what its node's `media.name` is.
    std::vector<std::string> mediaNames;
    bool offersScreenCopy = false;
    /// By stream.
    std::vector<std::int64_t> expected;
};

std::ostream& operator<<(std::ostream& stream, const Case& each) {
    return stream << each.name;
}

class ViewerStreamMatchingTable : public testing::TestWithParam<Case> {
  protected:
    /// Where the stream with that node was put.
    static std::int64_t placeOf(const std::vector<ViewerMatchedStream>& matched,
                                std::uint32_t node) {
        const auto found = std::ranges::find_if(
            matched, [&](const ViewerMatchedStream& each) { return each.stream.node == node; });
        if (found == matched.end()) {
            return none;
        }
        return found->output ? std::int64_t{*found->output} : someOne;
    }
};

TEST_P(ViewerStreamMatchingTable, IsMatched) {
    Streams streams = GetParam().streams;
    Nodes nodes;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        streams[i].node = static_cast<std::uint32_t>(40 + i);
        const bool isNamed = i < GetParam().mediaNames.size();
        nodes.push_back(
            {streams[i].node, std::nullopt, isNamed ? GetParam().mediaNames[i] : std::string()});
    }
    const ViewerOutputs::Snapshot compositor{GetParam().outputs, GetParam().offersScreenCopy};
    // The order of nothing means anything.
    for (int turn = 0; turn < 2; ++turn) {
        const auto matched = ViewerStreamMatching::match(streams, nodes, compositor);
        for (std::size_t i = 0; i < GetParam().expected.size(); ++i) {
            EXPECT_EQ(placeOf(matched, static_cast<std::uint32_t>(40 + i)), GetParam().expected[i])
                << "stream " << i << " in turn " << turn;
        }
        std::ranges::reverse(streams);
        std::ranges::reverse(nodes);
    }
}

INSTANTIATE_TEST_SUITE_P(
    GNOME, ViewerStreamMatchingTable,
    testing::Values(
        Case{"43, by place and size",
             twoUnlike(),
             {placed({1920, 0}, small), placed({0, 0}, fullHD)},
             {},
             false,
             {b, a}},
        Case{"43, two equal monitors",
             twoEqual(),
             {placed({1920, 0}, fullHD), placed({0, 0}, fullHD)},
             {},
             false,
             {b, a}},
        Case{"45, whose mapping is no connector",
             twoEqual(),
             {placed({1920, 0}, fullHD, "5a0f-5bf9"), placed({0, 0}, fullHD, "9bbd-4d3e")},
             {},
             false,
             {b, a}},
        Case{"48, scale 2",
             {withMode(output(a, "DP-1", {0, 0}, fullHD), {3840, 2160}),
              output(b, "DP-2", {1920, 0}, fullHD)},
             {placed({0, 0}, fullHD), placed({1920, 0}, fullHD)},
             {},
             false,
             {a, b}},
        Case{"a fractional scale",
             {withMode(output(a, "eDP-1", {0, 0}, {1707, 1067}), {2560, 1600}),
              output(b, "DP-1", {1707, 0}, fullHD)},
             {placed({0, 0}, {1707, 1067}), placed({1707, 0}, fullHD)},
             {},
             false,
             {a, b}},
        Case{"rotated",
             {withMode(output(a, "DP-1", {0, 0}, {1080, 1920}), {1920, 1080}, 1),
              output(b, "DP-2", {1080, 0}, fullHD)},
             {placed({0, 0}, {1080, 1920}), placed({1080, 0}, fullHD)},
             {},
             false,
             {a, b}},
        Case{
            "a window beside a monitor",
            twoUnlike(),
            {ofType(placed({0, 0}, fullHD), ViewerGrantedStream::window), placed({1920, 0}, small)},
            {},
            false,
            {none, b}},
        Case{"one of two equal monitors", twoEqual(), {placed({1920, 0}, fullHD)}, {}, false, {b}},
        Case{"a part at a monitor's corner",
             twoUnlike(),
             {placed({0, 0}, {400, 300})},
             {},
             false,
             {none}},
        Case{"two that mirror each other",
             {output(a, "DP-1", {0, 0}, fullHD), output(b, "DP-2", {0, 0}, fullHD)},
             {placed({0, 0}, fullHD)},
             {},
             false,
             {someOne}},
        Case{"a place where nothing is, with a size that one has",
             twoUnlike(),
             {placed({7, 7}, small)},
             {},
             false,
             {b}}));

INSTANTIATE_TEST_SUITE_P(
    KDE, ViewerStreamMatchingTable,
    testing::Values(
        Case{"5.27, by size", twoUnlike(), {sized(small), sized(fullHD)}, {}, false, {b, a}},
        Case{"5.27, two equal monitors by the name of the node",
             twoEqual(),
             {sized(fullHD), sized(fullHD)},
             {"kwin-screencast-DP-2", "kwin-screencast-DP-1"},
             false,
             {b, a}},
        Case{"two equal monitors whose nodes are not named",
             twoEqual(),
             {sized(fullHD), sized(fullHD)},
             {},
             false,
             {someOne, someOne}},
        Case{"one of two equal monitors whose node is not named",
             twoEqual(),
             {sized(fullHD)},
             {},
             false,
             {someOne}},
        Case{"a third stream of two equal monitors",
             twoEqual(),
             {sized(fullHD), sized(fullHD), sized(fullHD)},
             {},
             false,
             {none, none, none}},
        Case{"the name of a node before the place",
             twoEqual(),
             {placed({0, 0}, fullHD)},
             {"kwin-screencast-DP-2"},
             false,
             {b}},
        Case{"6.7, the mapping before the name of the node",
             twoEqual(),
             {placed({0, 0}, fullHD, "DP-2")},
             {"kwin-screencast-DP-1"},
             false,
             {b}},
        Case{"a place whose output is another's by name",
             twoEqual(),
             {placed({0, 0}, fullHD, "DP-2"), placed({1920, 0}, fullHD)},
             {},
             false,
             {b, someOne}},
        Case{"6.3, scale 2, by logical size",
             {withMode(output(a, "DP-1", {0, 0}, fullHD), {3840, 2160}),
              output(b, "DP-2", {1920, 0}, small)},
             {sized(fullHD)},
             {},
             false,
             {a}},
        Case{"scale 2, by pixels",
             {withMode(output(a, "DP-1", {0, 0}, fullHD), {3840, 2160}),
              output(b, "DP-2", {1920, 0}, fullHD)},
             {sized(ultraHD)},
             {},
             false,
             {a}},
        Case{"one output's points are another's pixels",
             {withMode(output(a, "DP-1", {0, 0}, fullHD), {3840, 2160}),
              output(b, "DP-2", {1920, 0}, fullHD)},
             {sized(fullHD)},
             {},
             false,
             {someOne}},
        Case{"rotated, by pixels as seen",
             {withMode(output(a, "DP-1", {0, 0}, {540, 960}), {1920, 1080}, 3),
              withMode(output(b, "DP-2", {540, 0}, {960, 540}), {1920, 1080})},
             {sized({1080, 1920})},
             {},
             false,
             {a}},
        Case{"a full workspace of two monitors",
             twoUnlike(),
             {sized({3200, 1080})},
             {},
             false,
             {none}},
        Case{"a full workspace beside its monitors",
             twoUnlike(),
             {sized({3200, 1080}), sized(fullHD)},
             {"kwin-screencast-", "kwin-screencast-DP-1"},
             false,
             {none, a}},
        Case{"a region", twoUnlike(), {sized({400, 300})}, {}, false, {none}},
        Case{"a region as large as a monitor",
             twoUnlike(),
             {sized(fullHD)},
             {"kwin-screencast-100,0 1920x1080"},
             false,
             {none}},
        Case{"a name that no output of the compositor's has, because none has one",
             {output(a, "", {0, 0}, fullHD), output(b, "", {1920, 0}, small)},
             {sized(small)},
             {"kwin-screencast-DP-2"},
             false,
             {b}},
        Case{"an only monitor and the full workspace, which it is",
             {twoUnlike().front()},
             {sized(fullHD), sized(fullHD)},
             {"kwin-screencast-DP-1", "kwin-screencast-"},
             false,
             {a, none}},
        Case{"nobody knows which of the two is the monitor",
             {twoUnlike().front()},
             {sized(fullHD), sized(fullHD)},
             {},
             false,
             {none, none}},
        Case{"one of three is named, two are alike",
             {output(a, "DP-1", {0, 0}, fullHD), output(b, "DP-2", {1920, 0}, fullHD),
              output(c, "DP-3", {3840, 0}, fullHD)},
             {sized(fullHD), sized(fullHD)},
             {"kwin-screencast-DP-3"},
             false,
             {c, someOne}},
        Case{"no size at all",
             twoUnlike(),
             {ofType({}, ViewerGrantedStream::monitor)},
             {},
             false,
             {none}},
        Case{"a name without a size",
             twoUnlike(),
             {ofType({}, ViewerGrantedStream::monitor)},
             {"kwin-screencast-HDMI-A-1"},
             false,
             {b}}));

INSTANTIATE_TEST_SUITE_P(
    Wlroots, ViewerStreamMatchingTable,
    testing::Values(
        Case{"0.7, by size", twoUnlike(), {ofWlroots(small)}, {}, true, {b}},
        Case{"0.7, the origin is no place", twoEqual(), {ofWlroots(fullHD)}, {}, true, {someOne}},
        Case{"0.7, the origin is no place of another size either",
             {output(a, "DP-1", {0, 0}, fullHD), output(b, "DP-2", {1920, 0}, small),
              output(c, "DP-3", {3200, 0}, small)},
             {ofWlroots(small)},
             {},
             true,
             {someOne}},
        Case{"0.7, rotated and scaled",
             {withMode(output(a, "DP-1", {0, 0}, {540, 960}), {1920, 1080}, 1),
              output(b, "DP-2", {540, 0}, fullHD)},
             {ofWlroots({540, 960})},
             {},
             true,
             {a}},
        Case{"0.7, a fractional scale in pixels",
             {withMode(output(a, "DP-1", {0, 0}, {1536, 864}), {1920, 1080}),
              output(b, "DP-2", {1536, 0}, small)},
             {ofWlroots(fullHD)},
             {},
             true,
             {a}},
        Case{"a later one that tells the place",
             twoEqual(),
             {placed({1920, 0}, fullHD)},
             {},
             true,
             {b}},
        Case{"no output's size", twoUnlike(), {ofWlroots({640, 480})}, {}, true, {none}},
        Case{"a window as large as an output",
             twoUnlike(),
             {ofType(ofWlroots(fullHD), ViewerGrantedStream::window)},
             {},
             true,
             {none}},
        Case{"a region as large as an output",
             twoUnlike(),
             {ofType(ofWlroots(fullHD), ViewerGrantedStream::virtualMonitor)},
             {},
             true,
             {none}},
        Case{"outputs without names",
             {output(a, "", {0, 0}, fullHD), output(b, "", {1920, 0}, small)},
             {ofWlroots(fullHD)},
             {},
             true,
             {a}},
        Case{"an output that is gone", {}, {ofWlroots(fullHD)}, {}, true, {none}}));

TEST(ViewerStreamMatching, ANodeIsKnownByItsSerialNumberWhereBothTellIt) {
    const Streams streams = {{.node = 40, .serial = 1000, .size = fullHD}};
    // The number was given out again.
    Nodes nodes = {{40, 2000, "kwin-screencast-DP-1"}, {41, 1000, "kwin-screencast-DP-2"}};
    auto matched = ViewerStreamMatching::match(streams, nodes, {twoEqual(), false});
    EXPECT_EQ(matched.at(0).output, std::optional<std::uint32_t>(b));
    nodes = {{40, std::nullopt, "kwin-screencast-DP-1"}};
    matched = ViewerStreamMatching::match(streams, nodes, {twoEqual(), false});
    EXPECT_EQ(matched.at(0).output, std::optional<std::uint32_t>(a));
}

TEST(ViewerStreamMatching, WhatIsNotToldApartIsOneOfTheLike) {
    const auto matched = ViewerStreamMatching::match({sized(fullHD)}, {}, {twoEqual(), false});
    ASSERT_EQ(matched.size(), 1U);
    EXPECT_EQ(matched.front().likeOutputs, (std::vector<std::uint32_t>{a, b}));
}

}  // namespace
}  // namespace velmora
