#include "core/capture/linux/identity/ViewerEDID.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/protocol/ViewerUTF8.h"
#include "tests/support/capture/EDIDBlock.h"

namespace velmora {
namespace {

TEST(ViewerEDID, TheNumberFieldIsASerialNumber) {
    EXPECT_TRUE(ViewerEDID::parse(EDIDBlock().serialNumber(0x12345678).bytes()).hasSerialNumber);
    EXPECT_TRUE(ViewerEDID::parse(EDIDBlock().serialNumber(0x00000100).bytes()).hasSerialNumber);
}

TEST(ViewerEDID, AFillerInTheNumberFieldIsNoSerialNumber) {
    for (const std::uint32_t filler : {0U, 0x01010101U, 0xffffffffU}) {
        SCOPED_TRACE(filler);
        EXPECT_FALSE(ViewerEDID::parse(EDIDBlock().serialNumber(filler).bytes()).hasSerialNumber);
    }
}

TEST(ViewerEDID, ASerialTextCountsWhereTheNumberFieldIsAFiller) {
    const auto edid = EDIDBlock().serialNumber(0x01010101).serialText("CN0T2-0042").bytes();
    EXPECT_TRUE(ViewerEDID::parse(edid).hasSerialNumber);
}

TEST(ViewerEDID, ASerialTextOfZerosAndBlanksIsNone) {
    for (const char* text : {"", "     ", "0", "0000000000000", " 000 00"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(ViewerEDID::parse(EDIDBlock().serialText(text).bytes()).hasSerialNumber);
    }
}

TEST(ViewerEDID, TheNameEndsAtTheLineEndAndHasNoBlanksAround) {
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("VX 2780").bytes()).monitorName, "VX 2780");
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("  VX 2780  ").bytes()).monitorName,
              "VX 2780");
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("VX\nrest").bytes()).monitorName, "VX");
}

TEST(ViewerEDID, ANameOfThirteenCharactersNeedsNoLineEnd) {
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("ABCDEFGHIJKLM").bytes()).monitorName,
              "ABCDEFGHIJKLM");
}

TEST(ViewerEDID, ABlankNameIsNone) {
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("   ").bytes()).monitorName, "");
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().bytes()).monitorName, "");
}

TEST(ViewerEDID, TheFirstNameThatSaysSomethingCounts) {
    const auto edid =
        EDIDBlock().monitorName(" ").monitorName("First").monitorName("Second").bytes();
    EXPECT_EQ(ViewerEDID::parse(edid).monitorName, "First");
}

TEST(ViewerEDID, TheLastOfFourDescriptorsIsReadToo) {
    const auto edid = EDIDBlock()
                          .monitorName(" ")
                          .monitorName(" ")
                          .monitorName(" ")
                          .monitorName("VX 2780")
                          .bytes();
    EXPECT_EQ(ViewerEDID::parse(edid).monitorName, "VX 2780");
}

TEST(ViewerEDID, TheCodePageBeginsAtItsFirstCharacterAndEndsAtItsLast) {
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("A\x80\xff").bytes()).monitorName,
              "AÇ\u00a0");
}

TEST(ViewerEDID, NamesAreInCodePage437) {
    EXPECT_EQ(
        ViewerEDID::parse(EDIDBlock().monitorName("\x81\xe1 \xf8\xfe\x9e").bytes()).monitorName,
        "üß °■₧");
}

TEST(ViewerEDID, ControlCharactersAreLeftOutOfNames) {
    EXPECT_EQ(ViewerEDID::parse(EDIDBlock().monitorName("A\x01\x7f\tB").bytes()).monitorName, "AB");
}

TEST(ViewerEDID, ATimingIsNoText) {
    auto edid = EDIDBlock().monitorName("VX 2780").serialText("S1").bytes();
    edid[54] = 1;
    edid[73] = 1;
    EXPECT_EQ(ViewerEDID::parse(edid), ViewerEDID());
}

TEST(ViewerEDID, TextsBehindATimingCount) {
    auto edid = EDIDBlock().monitorName("").monitorName("VX 2780").serialText("S1").bytes();
    edid[54] = 1;
    EXPECT_EQ(ViewerEDID::parse(edid).monitorName, "VX 2780");
    EXPECT_TRUE(ViewerEDID::parse(edid).hasSerialNumber);
}

TEST(ViewerEDID, ExtensionBlocksAreNotLookedAt) {
    auto edid = EDIDBlock().monitorName("VX 2780").bytes();
    const ViewerEDID alone = ViewerEDID::parse(edid);
    edid.resize(256, 0xff);
    EXPECT_EQ(ViewerEDID::parse(edid), alone);
}

TEST(ViewerEDID, NothingIsKnownFromWhatIsNoEDID) {
    const auto whole = EDIDBlock().serialNumber(7).monitorName("VX 2780").bytes();
    auto wrongHeader = whole;
    wrongHeader[3] = 0;
    EXPECT_EQ(ViewerEDID::parse(wrongHeader), ViewerEDID());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::vector<std::uint8_t> start(whole.begin(),
                                              whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(ViewerEDID::parse(start), ViewerEDID()) << length;
    }
}

TEST(ViewerEDID, EveryByteInANameGivesValidUTF8) {
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char text[] = {'A', static_cast<char>(byte), 'B'};
        const auto edid = EDIDBlock().monitorName({text, sizeof text}).bytes();
        const std::string name = ViewerEDID::parse(edid).monitorName;
        EXPECT_TRUE(ViewerUTF8::isValid(name)) << byte;
        EXPECT_EQ(name.front(), 'A') << byte;
    }
}

}  // namespace
}  // namespace velmora
