#include "core/protocol/ViewerHostHTTPResponse.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

ViewerHostHTTPResponse errorResponse(std::int64_t status, std::string_view reason) {
    return {status, std::string(reason), "text/plain", ViewerBytes(), std::nullopt};
}

}  // namespace

ViewerHostResponseBytes::ViewerHostResponseBytes(std::string responseHead, ViewerBytes responseBody)
    : head(std::move(responseHead)), body(std::move(responseBody)) {}

ViewerHostHTTPResponse::ViewerHostHTTPResponse(std::int64_t responseStatus,
                                               std::string responseReason,
                                               std::string responseContentType,
                                               ViewerBytes responseBody,
                                               std::optional<std::string> responseFrameSequence)
    : status(responseStatus),
      reason(std::move(responseReason)),
      contentType(std::move(responseContentType)),
      body(std::move(responseBody)),
      frameSequence(std::move(responseFrameSequence)) {}

const ViewerHostHTTPResponse& ViewerHostHTTPResponse::notFound() {
    static const ViewerHostHTTPResponse response = errorResponse(404, "Not Found");
    return response;
}

const ViewerHostHTTPResponse& ViewerHostHTTPResponse::methodNotAllowed() {
    static const ViewerHostHTTPResponse response = errorResponse(405, "Method Not Allowed");
    return response;
}

const ViewerHostHTTPResponse& ViewerHostHTTPResponse::headersTooLarge() {
    static const ViewerHostHTTPResponse response =
        errorResponse(431, "Request Header Fields Too Large");
    return response;
}

const ViewerHostHTTPResponse& ViewerHostHTTPResponse::serviceUnavailable() {
    static const ViewerHostHTTPResponse response = errorResponse(503, "Service Unavailable");
    return response;
}

ViewerHostResponseBytes ViewerHostHTTPResponse::serialized() const {
    const std::string statusDigits = std::to_string(status);
    const std::string lengthDigits = std::to_string(body.size());
    const std::array<std::string_view, 11> pieces{
        "HTTP/1.1 ",
        statusDigits,
        " ",
        reason,
        "\r\nContent-Type: ",
        contentType,
        "\r\nContent-Length: ",
        lengthDigits,
        frameSequence ? "\r\nCache-Control: no-store\r\nConnection: close\r\nX-Velmora-Frame: "
                      : "\r\nCache-Control: no-store\r\nConnection: close",
        frameSequence ? std::string_view(*frameSequence) : "",
        "\r\n\r\n"};
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        length += piece.size();
    }
    std::string head(length, '\0');
    auto end = head.begin();
    for (const std::string_view piece : pieces) {
        end = std::copy(piece.begin(), piece.end(), end);
    }
    return {std::move(head), body};
}

}  // namespace velmora
