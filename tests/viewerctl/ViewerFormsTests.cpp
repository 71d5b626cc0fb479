#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "viewerctl/ViewerAnswerHead.h"
#include "viewerctl/ViewerFrameLabel.h"
#include "viewerctl/ViewerHostAddress.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerJPEGHeader.h"
#include "viewerctl/ViewerLanguage.h"
#include "viewerctl/ViewerTerminalText.h"

namespace velmora {

namespace {

using testing::ElementsAre;

const std::string identity = "0123456789abcdef0123456789abcdef";

TEST(ViewerHostAddress, IsANameOrAnAddressWithOrWithoutAPort) {
    EXPECT_EQ(ViewerHostAddress::parse("studio"), ViewerHostAddress("studio", 9090));
    EXPECT_EQ(ViewerHostAddress::parse("studio.local:80"), ViewerHostAddress("studio.local", 80));
    EXPECT_EQ(ViewerHostAddress::parse("192.0.2.1:65535"), ViewerHostAddress("192.0.2.1", 65535));
    EXPECT_EQ(ViewerHostAddress::parse("[2001:db8::1]"), ViewerHostAddress("2001:db8::1", 9090));
    EXPECT_EQ(ViewerHostAddress::parse("[fe80::1%eth0]:1"), ViewerHostAddress("fe80::1%eth0", 1));
}

TEST(ViewerHostAddress, IsNothingElse) {
    for (const std::string text :
         {"",     ":",    ":9090", "a b",  "a:",       "a:0",    "a:65536",    "a:-1",
          "a:1x", "a:+1", "::1",   "[::1", "[::1]x1",  "[::1]:", "[studio]",   "[]",
          "-a",   ".a",   "a/b",   "a@b",  "http://a", "a\n",    "[fe80::1%]", "[fe80::1%a/b]"}) {
        EXPECT_EQ(ViewerHostAddress::parse(text), std::nullopt) << text;
    }
    EXPECT_TRUE(ViewerHostAddress::parse(std::string(253, 'a')));
    EXPECT_EQ(ViewerHostAddress::parse(std::string(254, 'a')), std::nullopt);
    EXPECT_EQ(ViewerHostAddress::parse(std::string_view("[::1\0a]", 7)), std::nullopt);
}

TEST(ViewerHostAddress, IsKnownWithoutALookUpWhereItIsNoName) {
    EXPECT_TRUE(ViewerHostAddress("192.0.2.1", 1).isLiteral());
    EXPECT_TRUE(ViewerHostAddress("::1", 1).isLiteral());
    EXPECT_FALSE(ViewerHostAddress("studio_1", 1).isLiteral());
    EXPECT_FALSE(ViewerHostAddress("192.0.2.256", 1).isLiteral());
}

TEST(ViewerHostAddress, IsWrittenAsItIsRead) {
    for (const std::string text : {"studio", "studio_2:1", "[::1]", "[::1]:1", "192.0.2.1"}) {
        EXPECT_EQ(ViewerHostAddress::parse(text)->text(), text);
    }
    EXPECT_EQ(ViewerHostAddress("fe80::1%eth0", 1).authority(), "[fe80::1%25eth0]:1");
    EXPECT_EQ(ViewerHostAddress("studio", 9090).authority(), "studio:9090");
}

TEST(ViewerHostList, KeepsTheOrderAndTheGroups) {
    const auto list = ViewerHostList::parse("one\r\n\n# nobody\nHall 1:\n\ttwo:81 # left\n[::1]:5");
    EXPECT_THAT(list.badLines, ElementsAre());
    EXPECT_THAT(list.hosts, ElementsAre(ViewerListedHost(ViewerHostAddress("one", 9090), ""),
                                        ViewerListedHost(ViewerHostAddress("two", 81), "Hall 1"),
                                        ViewerListedHost(ViewerHostAddress("::1", 5), "Hall 1")));
}

TEST(ViewerHostList, MayBeginWithAByteOrderMark) {
    const auto list = ViewerHostList::parse("\uFEFFHall 1:\r\none\r\n");
    EXPECT_THAT(list.hosts,
                ElementsAre(ViewerListedHost(ViewerHostAddress("one", 9090), "Hall 1")));
}

TEST(ViewerHostList, TellsWhichLinesItCannotRead) {
    const auto list = ViewerHostList::parse("one\ntwo three\n\n:\n[::1]:\na\x1b:\na\xff:\nfour");
    EXPECT_THAT(list.badLines, ElementsAre(2, 4, 5, 6, 7));
    EXPECT_EQ(list.hosts.size(), 2U);
}

TEST(ViewerFrameLabel, IsTwoIdentitiesAndANumber) {
    const std::string both = identity + "-" + identity;
    EXPECT_TRUE(ViewerFrameLabel::isValid(both + "-1"));
    EXPECT_TRUE(ViewerFrameLabel::isValid(both + "-18446744073709551615"));
    const std::string joinedOtherwise = identity + "_" + identity + "-1";
    const std::string numberJoinedOtherwise = both + "_1";
    const std::string noHexadecimal = identity + "-g" + identity.substr(1) + "-1";
    const std::string capital = "A" + both.substr(1) + "-1";
    for (const std::string& text :
         {std::string(), identity, both, both + "-", both + "-0", both + "-01", both + "--1",
          both + "-1 ", both + "-18446744073709551616", joinedOtherwise, capital,
          numberJoinedOtherwise, noHexadecimal}) {
        EXPECT_FALSE(ViewerFrameLabel::isValid(text)) << text;
    }
}

const std::string plainHead = "HTTP/1.1 200 OK\r\nContent-Type: a/b\r\nContent-Length: 7\r\n";

TEST(ViewerAnswerHead, HasStatusTypeLengthAndLabel) {
    const auto head = ViewerAnswerHead::parse(
        "HTTP/1.1 503\r\nX: y\tz\r\ncontent-type:a/b\t \t\r\nCONTENT-LENGTH: 7\r\nX-velmora-Frame: "
        "l\r\n"
        "\r\n");
    ASSERT_TRUE(head);
    EXPECT_EQ(head->status, 503);
    EXPECT_EQ(head->contentType, "a/b");
    EXPECT_EQ(head->contentLength, 7U);
    EXPECT_EQ(head->label, "l");
    EXPECT_EQ(ViewerAnswerHead::parse(plainHead + "\r\n")->label, std::nullopt);
}

TEST(ViewerAnswerHead, IsOneWholeHead) {
    const std::string twoHeads = plainHead + "\r\n" + plainHead + "\r\n";
    for (const std::string& text :
         {std::string(),
          std::string("\r\n"),
          plainHead,
          plainHead + "\r\nx",
          twoHeads,
          plainHead + "Content-Length: 7\r\n\r\n",
          plainHead + "Content-Type: a/b\r\n\r\n",
          plainHead + "X-Velmora-Frame: a\r\nX-Velmora-Frame: a\r\n\r\n",
          plainHead + "a: \x7F\r\n\r\n",
          std::string("HTTP/1.1 -20 OK\r\nContent-Type: a\r\nContent-Length: 7\r\n\r\n"),
          plainHead + "a\r\n\r\n",
          plainHead + ": b\r\n\r\n",
          plainHead + "a b: c\r\n\r\n",
          plainHead + "a: b\n\r\n",
          plainHead + " folded\r\n\r\n",
          plainHead + "Transfer-Encoding: identity\r\n\r\n",
          plainHead + "content-encoding: gzip\r\n\r\n",
          "x" + plainHead + "\r\n",
          std::string("HTTP/1.1 20 OK\r\nContent-Type: a\r\nContent-Length: 7\r\n\r\n"),
          std::string("HTTP/1.1 2000 OK\r\nContent-Type: a\r\nContent-Length: 7\r\n\r\n"),
          std::string("HTTP/1.1 200 OK\r\nContent-Type: a\r\nContent-Length: -7\r\n\r\n"),
          std::string("HTTP/1.1 200 OK\r\nContent-Type: a\r\nContent-Length: \r\n\r\n"),
          std::string("HTTP/1.1 200 OK\r\nContent-Type: a\r\n\r\n"),
          std::string("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n")}) {
        EXPECT_FALSE(ViewerAnswerHead::parse(text)) << text;
    }
}

TEST(ViewerAnswerHead, IsAtMostSixteenKibibytes) {
    const std::string begin = plainHead + "A: ";
    const std::string fitting(ViewerAnswerHead::longest - begin.size() - 4, 'a');
    EXPECT_TRUE(ViewerAnswerHead::parse(begin + fitting + "\r\n\r\n"));
    EXPECT_FALSE(ViewerAnswerHead::parse(begin + fitting + "a\r\n\r\n"));
}

std::vector<std::uint8_t> jpeg(std::uint8_t marker, int width, int height,
                               std::uint8_t precision = 8, std::uint8_t before = 0xFE) {
    const auto high = [](int value) { return static_cast<std::uint8_t>(value / 256); };
    const auto low = [](int value) { return static_cast<std::uint8_t>(value % 256); };
    return {0xFF,
            0xD8,
            0xFF,
            before,
            0,
            4,
            1,
            2,
            0xFF,
            0xFF,
            marker,
            0,
            11,
            precision,
            high(height),
            low(height),
            high(width),
            low(width),
            1,
            1,
            0x11,
            0};
}

TEST(ViewerJPEGHeader, TellsTheSizeOfThePicture) {
    EXPECT_EQ(ViewerJPEGHeader::parse(jpeg(0xC0, 640, 360)), ViewerJPEGHeader(640, 360));
    EXPECT_EQ(ViewerJPEGHeader::parse(jpeg(0xC2, 4096, 1)), ViewerJPEGHeader(4096, 1));
}

TEST(ViewerJPEGHeader, IsNothingForWhatIsNotDecodedSafely) {
    EXPECT_FALSE(ViewerJPEGHeader::parse({}));
    EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(0xC0, 4097, 1)));
    EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(0xC0, 1, 65535)));
    EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(0xC0, 0, 1)));
    EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(0xC0, 1, 0)));
    EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(0xC0, 1, 1, 12)));
    for (const int marker : {0x00, 0x01, 0xC3, 0xC9, 0xD0, 0xD8, 0xD9, 0xDA}) {
        EXPECT_FALSE(ViewerJPEGHeader::parse(jpeg(static_cast<std::uint8_t>(marker), 1, 1)));
    }
    for (const int before : {0x01, 0xD0, 0xD8, 0xD9, 0xDA}) {
        EXPECT_FALSE(
            ViewerJPEGHeader::parse(jpeg(0xC0, 1, 1, 8, static_cast<std::uint8_t>(before))));
    }
    auto shortSegment = jpeg(0xC0, 1, 1);
    shortSegment[12] = 7;
    EXPECT_FALSE(ViewerJPEGHeader::parse(shortSegment));
    auto cut = jpeg(0xC0, 640, 360);
    while (!cut.empty()) {
        cut.pop_back();
        // As long as its memory, so that a sanitizer sees what is read behind its end.
        EXPECT_FALSE(ViewerJPEGHeader::parse(std::vector(cut)));
    }
}

TEST(ViewerTerminalText, LeavesNothingThatATerminalObeys) {
    EXPECT_EQ(ViewerTerminalText::safe("Größe 画面"), "Größe 画面");
    EXPECT_EQ(ViewerTerminalText::safe("a\x1b[2J\n\t\x7f"), "a\uFFFD[2J\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(ViewerTerminalText::safe("\u009B\u202E\u2066\u200B\U000E0041"),
              "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(ViewerTerminalText::safe("\u0890\u08E2"), "\uFFFD\uFFFD");
    EXPECT_EQ(ViewerTerminalText::safe("\xff"), "\uFFFD");
}

TEST(ViewerLanguage, IsRussianWhereTheLocaleIs) {
    EXPECT_EQ(ViewerLanguage::ofLocale("ru_RU.UTF-8"), ViewerLanguage::russian());
    EXPECT_EQ(ViewerLanguage::ofLocale("ru"), ViewerLanguage::russian());
    for (const char* const name : {"", "C", "en_US.UTF-8", "rue_RU", "POSIX"}) {
        EXPECT_EQ(ViewerLanguage::ofLocale(name), ViewerLanguage::english());
    }
}

}  // namespace

}  // namespace velmora
