#include "core/protocol/ViewerHostHTTPResponse.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/http/JoinedBytes.h"

namespace velmora {
namespace {

std::string wireText(const ViewerHostHTTPResponse& response) {
    return joined(response.serialized());
}

TEST(ViewerHostHTTPResponse, NotFoundHasItsExactBytes) {
    EXPECT_EQ(wireText(ViewerHostHTTPResponse::notFound()),
              "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\n\r\n");
}

TEST(ViewerHostHTTPResponse, MethodNotAllowedHasItsExactBytes) {
    EXPECT_EQ(wireText(ViewerHostHTTPResponse::methodNotAllowed()),
              "HTTP/1.1 405 Method Not Allowed\r\nContent-Type: text/plain\r\n"
              "Content-Length: 0\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n");
}

TEST(ViewerHostHTTPResponse, HeadersTooLargeHasItsExactBytes) {
    EXPECT_EQ(wireText(ViewerHostHTTPResponse::headersTooLarge()),
              "HTTP/1.1 431 Request Header Fields Too Large\r\nContent-Type: text/plain\r\n"
              "Content-Length: 0\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n");
}

TEST(ViewerHostHTTPResponse, ServiceUnavailableHasItsExactBytes) {
    EXPECT_EQ(wireText(ViewerHostHTTPResponse::serviceUnavailable()),
              "HTTP/1.1 503 Service Unavailable\r\nContent-Type: text/plain\r\n"
              "Content-Length: 0\r\nCache-Control: no-store\r\nConnection: close\r\n\r\n");
}

TEST(ViewerHostHTTPResponse, TheFixedResponsesHaveTheirFields) {
    const auto fixed = [](std::int64_t status, const char* reason) {
        return ViewerHostHTTPResponse(status, reason, "text/plain", ViewerBytes(), std::nullopt);
    };
    EXPECT_EQ(ViewerHostHTTPResponse::notFound(), fixed(404, "Not Found"));
    EXPECT_EQ(ViewerHostHTTPResponse::methodNotAllowed(), fixed(405, "Method Not Allowed"));
    EXPECT_EQ(ViewerHostHTTPResponse::headersTooLarge(),
              fixed(431, "Request Header Fields Too Large"));
    EXPECT_EQ(ViewerHostHTTPResponse::serviceUnavailable(), fixed(503, "Service Unavailable"));
}

TEST(ViewerHostHTTPResponse, TheFixedResponsesAreBuiltOnce) {
    EXPECT_EQ(&ViewerHostHTTPResponse::notFound(), &ViewerHostHTTPResponse::notFound());
    EXPECT_EQ(&ViewerHostHTTPResponse::methodNotAllowed(),
              &ViewerHostHTTPResponse::methodNotAllowed());
    EXPECT_EQ(&ViewerHostHTTPResponse::headersTooLarge(),
              &ViewerHostHTTPResponse::headersTooLarge());
    EXPECT_EQ(&ViewerHostHTTPResponse::serviceUnavailable(),
              &ViewerHostHTTPResponse::serviceUnavailable());
}

TEST(ViewerHostHTTPResponse, AFrameCarriesItsSequenceAfterTheOtherHeaders) {
    const ViewerHostHTTPResponse response(
        200, "OK", "image/jpeg", ViewerBytes(std::vector<std::uint8_t>(48'213, 0xD8)), "a-b-17");
    const auto bytes = response.serialized();
    EXPECT_EQ(bytes.head,
              "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 48213\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: a-b-17\r\n\r\n");
    EXPECT_EQ(joined(bytes), std::string(bytes.head) + std::string(48'213, '\xD8'));
}

TEST(ViewerHostHTTPResponse, AnEmptySequenceLeavesNothingAfterTheBlank) {
    const ViewerHostHTTPResponse response(200, "OK", "image/jpeg", ViewerBytes("x"), "");
    EXPECT_EQ(wireText(response),
              "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 1\r\n"
              "Cache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: \r\n\r\nx");
}

TEST(ViewerHostHTTPResponse, EveryByteOfTheBodyIsSentUnchanged) {
    std::vector<std::uint8_t> everyByte(256);
    for (std::size_t value = 0; value < everyByte.size(); ++value) {
        everyByte[value] = static_cast<std::uint8_t>(value);
    }
    const ViewerHostHTTPResponse response(200, "OK", "image/jpeg", ViewerBytes(everyByte), {});
    EXPECT_TRUE(
        wireText(response).ends_with("\r\n\r\n" + std::string(everyByte.begin(), everyByte.end())));
}

TEST(ViewerHostHTTPResponse, TheBodyIsSentFromWhereItLies) {
    const ViewerHostHTTPResponse response(200, "OK", "image/jpeg", ViewerBytes("JPEG"), "1");
    EXPECT_EQ(response.serialized().body.data(), response.body.data());
}

TEST(ViewerHostHTTPResponse, AnyStatusIsWrittenInDecimal) {
    const auto statusLine = [](std::int64_t status) {
        const std::string text =
            wireText(ViewerHostHTTPResponse(status, "R", "t", ViewerBytes(), std::nullopt));
        return text.substr(0, text.find("\r\n"));
    };
    EXPECT_EQ(statusLine(0), "HTTP/1.1 0 R");
    EXPECT_EQ(statusLine(std::numeric_limits<std::int64_t>::min()),
              "HTTP/1.1 -9223372036854775808 R");
    EXPECT_EQ(statusLine(std::numeric_limits<std::int64_t>::max()),
              "HTTP/1.1 9223372036854775807 R");
}

}  // namespace
}  // namespace velmora
