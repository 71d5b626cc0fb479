#include "core/protocol/ViewerPercentDecoding.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {
namespace {

TEST(ViewerPercentDecoding, TextWithoutPercentSignsStandsForItself) {
    EXPECT_EQ(percentDecoded(""), "");
    EXPECT_EQ(percentDecoded("macos-display:1&size=small"), "macos-display:1&size=small");
}

TEST(ViewerPercentDecoding, APlusSignIsNotASpace) {
    EXPECT_EQ(percentDecoded("a+b"), "a+b");
}

TEST(ViewerPercentDecoding, EscapesAreDecodedOnce) {
    EXPECT_EQ(percentDecoded("Display%201"), "Display 1");
    EXPECT_EQ(percentDecoded("%41%42"), "AB");
    EXPECT_EQ(percentDecoded("%2541"), "%41");
    EXPECT_EQ(percentDecoded("a%00b"), std::string("a\0b", 3));
}

TEST(ViewerPercentDecoding, DigitsOfEitherCaseCount) {
    EXPECT_EQ(percentDecoded("%2f%2F%7e%7E"), "//~~");
    EXPECT_EQ(percentDecoded("%c3%A9"), "é");
}

TEST(ViewerPercentDecoding, EveryASCIIByteCanBeEscaped) {
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        std::array<char, 4> escape{};
        (void)std::snprintf(escape.data(), escape.size(), "%%%02X", byte);  // always fits
        EXPECT_EQ(percentDecoded(escape.data()), std::string(1, static_cast<char>(byte)));
    }
}

TEST(ViewerPercentDecoding, AMalformedEscapeIsRefused) {
    for (const char* text : {"%", "a%", "%4", "%4%41", "%G1", "%1G", "%%41", "% 41", "%+1", "%-1",
                             "%0x", "%:0", "%/0", "%@0", "%`0", "%g0"}) {
        EXPECT_EQ(percentDecoded(text), std::nullopt) << text;
    }
}

TEST(ViewerPercentDecoding, NothingBehindTheTextIsLookedAt) {
    EXPECT_EQ(percentDecoded(std::string_view("%41").substr(0, 2)), std::nullopt);
    EXPECT_EQ(percentDecoded(std::string_view("%41").substr(0, 1)), std::nullopt);
}

TEST(ViewerPercentDecoding, AResultThatIsNotUTF8IsRefused) {
    for (const char* text : {"%FF", "%C3", "%C3%28", "%ED%A0%80", "%C0%AF", "%F4%90%80%80"}) {
        EXPECT_EQ(percentDecoded(text), std::nullopt) << text;
    }
    EXPECT_EQ(percentDecoded("\xFF"), std::nullopt);
    EXPECT_EQ(percentDecoded("%D0%AD%F0%9F%96%A5"), "Э\U0001F5A5");
}

}  // namespace
}  // namespace velmora
