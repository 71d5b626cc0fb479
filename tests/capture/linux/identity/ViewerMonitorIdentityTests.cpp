#include "core/capture/linux/identity/ViewerMonitorIdentity.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "tests/support/capture/EDIDBlock.h"

namespace velmora {
namespace {

std::vector<std::uint8_t> numbered(std::uint32_t number) {
    return EDIDBlock().serialNumber(number).monitorName("VX 2780").bytes();
}

std::vector<std::uint8_t> unnumbered() {
    return EDIDBlock().monitorName("VX 2780").bytes();
}

std::string uuid(const std::vector<std::uint8_t>& edid, const std::string& connector,
                 const std::string& randrName) {
    return ViewerMonitorIdentity::of(edid, connector, randrName).uuidText;
}

std::vector<std::uint8_t> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(ViewerMonitorIdentity, AMonitorWithASerialNumberIsTheSameOnEveryConnector) {
    EXPECT_EQ(uuid(numbered(1), "DP-1", "DP-1"), uuid(numbered(1), "HDMI-2", "left"));
    EXPECT_NE(uuid(numbered(1), "DP-1", "DP-1"), uuid(numbered(2), "DP-1", "DP-1"));
}

TEST(ViewerMonitorIdentity, AMonitorWithoutASerialNumberIsToldByItsConnector) {
    EXPECT_EQ(uuid(unnumbered(), "DP-1", "DP-1"), uuid(unnumbered(), "DP-1", "left"));
    EXPECT_NE(uuid(unnumbered(), "DP-1", "DP-1"), uuid(unnumbered(), "DP-2", "DP-1"));
    EXPECT_NE(uuid(unnumbered(), "DP-1", "DP-1"),
              uuid(EDIDBlock().model(7).bytes(), "DP-1", "DP-1"));
}

TEST(ViewerMonitorIdentity, AMonitorWithoutAnEDIDIsToldByItsName) {
    EXPECT_EQ(uuid({}, "screen", "A"), uuid({}, "", "A"));
    EXPECT_NE(uuid({}, "screen", "A"), uuid({}, "screen", "B"));
}

TEST(ViewerMonitorIdentity, WhatIsNoEDIDStillTellsItsMonitorTogetherWithTheConnector) {
    EXPECT_EQ(uuid(bytesOf("junk"), "DP-1", "A"), uuid(bytesOf("junk"), "DP-1", "B"));
    EXPECT_NE(uuid(bytesOf("junk"), "DP-1", "A"), uuid(bytesOf("junk"), "DP-2", "A"));
}

TEST(ViewerMonitorIdentity, TheKindsNeverMeet) {
    const std::vector<std::uint8_t> edid = numbered(1);
    const std::string text(edid.begin(), edid.end());
    const std::set<std::string> all = {
        uuid(edid, "", ""),
        uuid({}, "", text),
        uuid({}, "", "edid:" + text),
        uuid(bytesOf("A"), "B", ""),
        uuid(bytesOf("BA"), "", ""),
        uuid(bytesOf(""), "BA", "BA"),
        uuid({}, "", "connector:1:BA"),
    };
    EXPECT_EQ(all.size(), 7U);
}

TEST(ViewerMonitorIdentity, TheIdsOfEarlierVersionsStay) {
    EXPECT_EQ(uuid(numbered(1), "DP-1", "DP-1"), "f93660e0-5a0f-5bf9-8599-571078100f64");
    EXPECT_EQ(uuid(unnumbered(), "DP-1", "DP-1"), "9a629682-ebe0-5993-ba1d-ebdf469255d4");
    EXPECT_EQ(uuid({}, "screen", "screen"), "5aaef920-a395-5498-972b-d547a0eb3909");
}

TEST(ViewerMonitorIdentity, TheUUIDIsOfVersionFive) {
    const std::string text = uuid({}, "", "A");
    ASSERT_EQ(text.size(), 36U);
    EXPECT_EQ(text[14], '5');
    EXPECT_NE(std::string("89ab").find(text[19]), std::string::npos);
}

TEST(ViewerMonitorIdentity, TheNameIsTheMonitorsOwnElseRandrs) {
    EXPECT_EQ(ViewerMonitorIdentity::of(unnumbered(), "DP-1", "left").name, "VX 2780");
    EXPECT_EQ(ViewerMonitorIdentity::of(EDIDBlock().bytes(), "DP-1", "left").name, "left");
    EXPECT_EQ(ViewerMonitorIdentity::of({}, "DP-1", "left").name, "left");
}

TEST(ViewerMonitorIdentity, ANameThatIsNotUTF8IsRepairedAndStillTold) {
    EXPECT_EQ(ViewerMonitorIdentity::of({}, "", "b\xfcro").name, "b\uFFFDro");
    EXPECT_NE(uuid({}, "", "b\xfcro"), uuid({}, "", "b\xf6ro"));
}

}  // namespace
}  // namespace velmora
