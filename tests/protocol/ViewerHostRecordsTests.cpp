#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "core/protocol/ViewerHostDisplay.h"
#include "core/protocol/ViewerHostDisplayListing.h"
#include "core/protocol/ViewerHostDisplays.h"
#include "core/protocol/ViewerHostFrame.h"
#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerHostRequest.h"
#include "core/protocol/ViewerHostRequestParseResult.h"

namespace velmora {
namespace {

using ParseResult = ViewerHostRequestParseResult;

TEST(ViewerHostRecords, TheProtocolsConstantsAreFixed) {
    using namespace std::chrono_literals;
    EXPECT_EQ(ViewerHostProtocolV1::protocolIdentifier, "Velmora.Windows.ViewerHost");
    EXPECT_EQ(ViewerHostProtocolV1::version, 1);
    EXPECT_EQ(ViewerHostProtocolV1::defaultPort, 9090);
    EXPECT_EQ(ViewerHostProtocolV1::captureFramesPerSecond, 25);
    EXPECT_EQ(ViewerHostProtocolV1::maxFrameBytes, 0x200000U);
    EXPECT_EQ(ViewerHostProtocolV1::maxRequestHeaderBytes, 0x2000U);
    EXPECT_EQ(ViewerHostProtocolV1::maxConcurrentConnections, 16U);
    EXPECT_EQ(ViewerHostProtocolV1::sessionLimit, 4);
    EXPECT_EQ(ViewerHostProtocolV1::requestTimeout, 5s);
    EXPECT_EQ(ViewerHostProtocolV1::idleTimeout, 5s);
    EXPECT_EQ(ViewerHostProtocolV1::displaysPath, "/viewer/v1/displays");
    EXPECT_EQ(ViewerHostProtocolV1::framePathPrefix, "/viewer/v1/frame?id=");
}

TEST(ViewerHostRecords, DisplaysAreEqualFieldByField) {
    const ViewerHostDisplay display("id", "name", 3840, 2160);
    EXPECT_EQ(display, ViewerHostDisplay("id", "name", 3840, 2160));
    EXPECT_NE(display, ViewerHostDisplay("ID", "name", 3840, 2160));
    EXPECT_NE(display, ViewerHostDisplay("id", "other", 3840, 2160));
    EXPECT_NE(display, ViewerHostDisplay("id", "name", 3841, 2160));
    EXPECT_NE(display, ViewerHostDisplay("id", "name", 3840, 2161));
}

TEST(ViewerHostRecords, ListingsAreEqualFieldByField) {
    const std::vector<ViewerHostDisplay> two{{"a", "A", 1, 2}, {"b", "B", 3, 4}};
    const std::vector<ViewerHostDisplay> swapped{{"b", "B", 3, 4}, {"a", "A", 1, 2}};
    const ViewerHostDisplayListing listing("p", 1, "m", two);
    EXPECT_EQ(listing, ViewerHostDisplayListing("p", 1, "m", two));
    EXPECT_NE(listing, ViewerHostDisplayListing("q", 1, "m", two));
    EXPECT_NE(listing, ViewerHostDisplayListing("p", 2, "m", two));
    EXPECT_NE(listing, ViewerHostDisplayListing("p", 1, "n", two));
    EXPECT_NE(listing, ViewerHostDisplayListing("p", 1, "m", {}));
    EXPECT_NE(listing, ViewerHostDisplayListing("p", 1, "m", swapped));
}

TEST(ViewerHostRecords, FramesAreEqualByContent) {
    const ViewerHostFrame frame(ViewerBytes("JPEG"), "s-1");
    EXPECT_EQ(frame, ViewerHostFrame(ViewerBytes("JPEG"), "s-1"));
    EXPECT_NE(frame, ViewerHostFrame(ViewerBytes("JPEg"), "s-1"));
    EXPECT_NE(frame, ViewerHostFrame(ViewerBytes("JPEG"), "s-2"));
}

TEST(ViewerHostRecords, ListsAreEqualWhetherTheyShareTheirDisplaysOrNot) {
    const ViewerHostDisplays listed({{"a", "A", 640, 360}, {"b", "B", 640, 360}});
    ViewerHostDisplays shared;
    shared = listed;
    EXPECT_TRUE(shared.isSame(listed));
    EXPECT_EQ(shared, listed);
    const ViewerHostDisplays equal({{"a", "A", 640, 360}, {"b", "B", 640, 360}});
    EXPECT_FALSE(equal.isSame(listed));
    EXPECT_EQ(equal, listed);
    EXPECT_NE(ViewerHostDisplays({{"a", "A", 640, 360}, {"c", "B", 640, 360}}), listed);
    EXPECT_NE(ViewerHostDisplays({{"a", "A", 640, 360}}), listed);
    EXPECT_NE(ViewerHostDisplays(), listed);
}

TEST(ViewerHostRecords, ResponsesAreEqualFieldByField) {
    const auto response = [](std::int64_t status, const char* reason, const char* type,
                             const char* body) {
        return ViewerHostHTTPResponse(status, reason, type, ViewerBytes(body), "s");
    };
    EXPECT_EQ(response(200, "OK", "t", "b"), response(200, "OK", "t", "b"));
    EXPECT_NE(response(200, "OK", "t", "b"), response(201, "OK", "t", "b"));
    EXPECT_NE(response(200, "OK", "t", "b"), response(200, "Ok", "t", "b"));
    EXPECT_NE(response(200, "OK", "t", "b"), response(200, "OK", "u", "b"));
    EXPECT_NE(response(200, "OK", "t", "b"), response(200, "OK", "t", "c"));
}

TEST(ViewerHostRecords, ResponsesThatDifferOnlyInTheFrameSequenceAreUnequal) {
    const auto response = [](std::optional<std::string> sequence) {
        return ViewerHostHTTPResponse(200, "OK", "image/jpeg", ViewerBytes("b"),
                                      std::move(sequence));
    };
    EXPECT_EQ(response(std::nullopt), response(std::nullopt));
    EXPECT_EQ(response("1"), response("1"));
    EXPECT_NE(response("1"), response("2"));
    EXPECT_NE(response("1"), response(std::nullopt));
    EXPECT_NE(response(""), response(std::nullopt));
}

TEST(ViewerHostRecords, RequestsAreEqualByMethodAndTarget) {
    EXPECT_EQ(ViewerHostRequest("GET", "/a"), ViewerHostRequest("GET", "/a"));
    EXPECT_NE(ViewerHostRequest("GET", "/a"), ViewerHostRequest("PUT", "/a"));
    EXPECT_NE(ViewerHostRequest("GET", "/a"), ViewerHostRequest("GET", "/b"));
}

TEST(ViewerHostRecords, ParsedRequestsCompareByTheirPayload) {
    const ViewerHostRequest request("GET", "/a");
    EXPECT_EQ(ParseResult::request(request), ParseResult::request(request));
    EXPECT_NE(ParseResult::request(request), ParseResult::request({"GET", "/b"}));
    EXPECT_NE(ParseResult::request(request), ParseResult::request({"PUT", "/a"}));
    EXPECT_EQ(ParseResult::request(request).payload(), request);
}

TEST(ViewerHostRecords, ThePlainParseResultsAreEqualOnlyToThemselves) {
    const std::vector<ParseResult> results{
        ParseResult::request({"GET", "/a"}), ParseResult::incomplete(),
        ParseResult::methodNotAllowed(), ParseResult::headersTooLarge()};
    for (std::size_t one = 0; one < results.size(); ++one) {
        for (std::size_t other = 0; other < results.size(); ++other) {
            EXPECT_EQ(results[one] == results[other], one == other) << one << " and " << other;
        }
    }
}

TEST(ViewerHostRecords, TheCasesOfAParseResultAreInTheirOrder) {
    EXPECT_EQ(static_cast<int>(ParseResult::request({"GET", "/"}).which()), 0);
    EXPECT_EQ(static_cast<int>(ParseResult::incomplete().which()), 1);
    EXPECT_EQ(static_cast<int>(ParseResult::methodNotAllowed().which()), 2);
    EXPECT_EQ(static_cast<int>(ParseResult::headersTooLarge().which()), 3);
}

TEST(ViewerHostRecordsDeathTest, APlainParseResultHasNoPayload) {
    EXPECT_DEATH((void)ParseResult::incomplete().payload(), "only a parsed request has a payload");
}

}  // namespace
}  // namespace velmora
