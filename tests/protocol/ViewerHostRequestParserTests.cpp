#include "core/protocol/ViewerHostRequestParser.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace velmora {
namespace {

using namespace std::string_view_literals;
using ParseResult = ViewerHostRequestParseResult;

constexpr std::string_view listingRequest =
    "GET /viewer/v1/displays HTTP/1.1\r\nHost: studio\r\n\r\n";

ParseResult parse(std::string_view text) {
    return ViewerHostRequestParser::parse(
        {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

ParseResult requestFor(const char* target) {
    return ParseResult::request(ViewerHostRequest("GET", target));
}

/// A complete request of exactly `length` bytes.
std::string requestOfLength(std::size_t length) {
    const std::string start = "GET /a HTTP/1.1\r\nX: ";
    const std::string end = "\r\n\r\n";
    return start + std::string(length - start.size() - end.size(), 'x') + end;
}

TEST(ViewerHostRequestParser, NothingIsIncomplete) {
    EXPECT_EQ(parse(""), ParseResult::incomplete());
}

TEST(ViewerHostRequestParser, ACompleteHeadIsARequest) {
    EXPECT_EQ(parse(listingRequest), requestFor("/viewer/v1/displays"));
}

TEST(ViewerHostRequestParser, ARequestLineWithoutTheBlankLineIsIncomplete) {
    EXPECT_EQ(parse("GET /viewer/v1/displays HTTP/1.1\r\n"), ParseResult::incomplete());
}

TEST(ViewerHostRequestParser, EveryShorterStartOfARequestIsIncomplete) {
    for (std::size_t length = 0; length < listingRequest.size(); ++length) {
        EXPECT_EQ(parse(listingRequest.substr(0, length)), ParseResult::incomplete()) << length;
    }
}

TEST(ViewerHostRequestParser, LinesEndOnlyWithBothCharacters) {
    EXPECT_EQ(parse("GET /a HTTP/1.1\n\n"), ParseResult::incomplete());
    EXPECT_EQ(parse("GET /a HTTP/1.1\r\r"), ParseResult::incomplete());
    EXPECT_EQ(parse("GET /a HTTP/1.1\r\n\n"), ParseResult::incomplete());
    EXPECT_EQ(parse("GET /a HTTP/1.1\n\r\n"), ParseResult::incomplete());
    EXPECT_EQ(parse("GET /a\nb HTTP/1.1\r\n\r\n"), requestFor("/a\nb"));
    EXPECT_EQ(parse("GET /a\rb HTTP/1.1\r\n\r\n"), requestFor("/a\rb"));
    EXPECT_EQ(parse("GET /a HTTP/1.1\r\r\n\r\n"), requestFor("/a"));
}

TEST(ViewerHostRequestParser, ARunOfSpacesSeparatesOnce) {
    EXPECT_EQ(parse("GET  /a   HTTP/1.1\r\n\r\n"), requestFor("/a"));
    EXPECT_EQ(parse("  GET /a HTTP/1.1  \r\n\r\n"), requestFor("/a"));
}

TEST(ViewerHostRequestParser, OnlySpacesSeparate) {
    EXPECT_EQ(parse("GET\t/a\tHTTP/1.1\r\n\r\n"), ParseResult::methodNotAllowed());
    EXPECT_EQ(parse("GET /a\tb HTTP/1.1\r\n\r\n"), requestFor("/a\tb"));
    EXPECT_EQ(parse("GET \t/a HTTP/1.1\r\n\r\n"), requestFor("\t/a"));
}

TEST(ViewerHostRequestParser, ALineWithoutExactlyThreeTokensIsRefused) {
    for (const auto line : {""sv, " "sv, "GET"sv, "GET /a"sv, "GET /a "sv, "GET /a b HTTP/1.1"sv,
                            "GET /a HTTP/1.1 x y"sv}) {
        EXPECT_EQ(parse(std::string(line) + "\r\n\r\n"), ParseResult::methodNotAllowed()) << line;
    }
}

TEST(ViewerHostRequestParser, OnlyTheFirstLineIsTheRequestLine) {
    EXPECT_EQ(parse("\r\nGET /a HTTP/1.1\r\n\r\n"), ParseResult::methodNotAllowed());
    EXPECT_EQ(parse("\r\n\r\nGET /a HTTP/1.1\r\n\r\n"), ParseResult::methodNotAllowed());
}

TEST(ViewerHostRequestParser, EveryMethodButGETIsRefused) {
    for (const auto method : {"POST"sv, "HEAD"sv, "PUT"sv, "get"sv, "Get"sv, "GETX"sv, "GE"sv}) {
        EXPECT_EQ(parse(std::string(method) + " /a HTTP/1.1\r\n\r\n"),
                  ParseResult::methodNotAllowed())
            << method;
    }
}

TEST(ViewerHostRequestParser, TheVersionIsNotLookedAt) {
    EXPECT_EQ(parse("GET /a anything\r\n\r\n"), requestFor("/a"));
    EXPECT_EQ(parse("GET /a HTTP/9.9\r\n\r\n"), requestFor("/a"));
}

TEST(ViewerHostRequestParser, HeadersAndWhatFollowsThemChangeNothing) {
    EXPECT_EQ(
        parse("GET /a HTTP/1.1\r\nno header at all\r\nHost: a\r\nHost: b\r\n\r\nmore\r\n\r\n"),
        requestFor("/a"));
}

TEST(ViewerHostRequestParser, TheTargetIsLeftAsItIs) {
    EXPECT_EQ(parse("GET /viewer/v1/frame?id=a%20b HTTP/1.1\r\n\r\n"),
              requestFor("/viewer/v1/frame?id=a%20b"));
    EXPECT_EQ(parse("GET /A?B=c#D HTTP/1.1\r\n\r\n"), requestFor("/A?B=c#D"));
    EXPECT_EQ(parse("GET /a\0b HTTP/1.1\r\n\r\n"sv),
              ParseResult::request(ViewerHostRequest("GET", std::string("/a\0b", 4))));
}

TEST(ViewerHostRequestParser, AByteOutsideASCIIAnywhereInACompleteHeadIsRefused) {
    for (std::size_t place = 0; place + 4 < listingRequest.size(); ++place) {
        std::string text(listingRequest);
        text[place] = '\xC3';
        EXPECT_EQ(parse(text), ParseResult::methodNotAllowed()) << place;
    }
    EXPECT_EQ(parse(std::string(listingRequest) + '\x80'), ParseResult::methodNotAllowed());
    EXPECT_EQ(parse(std::string(listingRequest) + '\x7F'), requestFor("/viewer/v1/displays"));
}

TEST(ViewerHostRequestParser, AnIncompleteHeadWithOtherBytesIsStillIncomplete) {
    EXPECT_EQ(parse("G\xC3\r\n"), ParseResult::incomplete());
}

TEST(ViewerHostRequestParser, WithoutATerminatorTheLimitIsReachedAt8192Bytes) {
    EXPECT_EQ(parse(std::string(8'191, 'x')), ParseResult::incomplete());
    EXPECT_EQ(parse(std::string(8'192, 'x')), ParseResult::headersTooLarge());
}

TEST(ViewerHostRequestParser, WithATerminator8192BytesAreStillParsed) {
    EXPECT_EQ(parse(requestOfLength(8'192)), requestFor("/a"));
    EXPECT_EQ(parse(requestOfLength(8'193)), ParseResult::headersTooLarge());
}

TEST(ViewerHostRequestParser, MoreThan8192BytesAreTooLargeWhateverTheySay) {
    const std::string complete(listingRequest);
    EXPECT_EQ(parse(complete + std::string(8'193 - complete.size(), 'x')),
              ParseResult::headersTooLarge());
    EXPECT_EQ(parse(complete + std::string(8'192 - complete.size(), 'x')),
              requestFor("/viewer/v1/displays"));
    EXPECT_EQ(parse(complete + std::string(8'193 - complete.size(), '\xC3')),
              ParseResult::headersTooLarge());
}

bool hasMoreThanHead(std::string_view text) {
    return ViewerHostRequestParser::hasMoreThanHead(
        {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(ViewerHostRequestParser, MoreThanAHeadAreBytesBehindItOrAFieldThatAnnouncesThem) {
    EXPECT_FALSE(hasMoreThanHead(listingRequest));
    EXPECT_TRUE(hasMoreThanHead(std::string(listingRequest) + "x"));
    EXPECT_TRUE(hasMoreThanHead("GET / HTTP/1.1\r\nHost: h\r\nCONTENT-length: 3\r\n\r\n"));
    EXPECT_TRUE(hasMoreThanHead("GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"));
}

TEST(ViewerHostRequestParser, OtherFieldsAnnounceNothing) {
    EXPECT_FALSE(hasMoreThanHead("GET /content-length:1 HTTP/1.1\r\n\r\n"));
    EXPECT_FALSE(hasMoreThanHead("GET / HTTP/1.1\r\nX-Content-Length: 1\r\n\r\n"));
    EXPECT_FALSE(hasMoreThanHead("GET / HTTP/1.1\r\nContent-Lengths: 1\r\n\r\n"));
    EXPECT_FALSE(hasMoreThanHead("GET / HTTP/1.1\r\nContent-Lengt"));
}

TEST(ViewerHostRequestParser, OtherFieldsOfTheSameLengthAnnounceNothing) {
    for (const auto name : {"Accept-Charset"sv, "xontent-length"sv, "-ontent-length"sv,
                            "Content-Lengt~"sv, "Dontent-Length"sv, "Transfer-EncodinG1"sv}) {
        EXPECT_FALSE(hasMoreThanHead("GET / HTTP/1.1\r\n" + std::string(name) + ": 1\r\n\r\n"))
            << name;
    }
}

}  // namespace
}  // namespace velmora
