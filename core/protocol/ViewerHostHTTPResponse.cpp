#include "core/protocol/ViewerHostHTTPResponse.h"

#include <string>
#include <utility>

namespace velmora {

namespace {

ViewerHostHTTPResponse errorResponse(std::int64_t status, std::string_view reason) {
    return {status, reason, "text/plain", ViewerBytes(), std::nullopt};
}

}  // namespace

ViewerHostResponseBytes::ViewerHostResponseBytes(ViewerText responseHead, ViewerBytes responseBody)
    : head(std::move(responseHead)), body(std::move(responseBody)) {}

ViewerHostHTTPResponse::ViewerHostHTTPResponse(std::int64_t responseStatus,
                                               std::string_view responseReason,
                                               std::string_view responseContentType,
                                               ViewerBytes responseBody,
                                               std::optional<ViewerText> responseFrameSequence)
    : status(responseStatus),
      reason(responseReason),
      contentType(responseContentType),
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
    ViewerHostResponseBytes bytes("HTTP/1.1 ", body);
    ViewerText& head = bytes.head;
    head.append(std::to_string(status));
    head.append(" ");
    head.append(reason);
    head.append("\r\nContent-Type: ");
    head.append(contentType);
    head.append("\r\nContent-Length: ");
    head.append(std::to_string(body.size()));
    head.append("\r\nCache-Control: no-store\r\nConnection: close");
    if (frameSequence) {
        head.append("\r\nX-Velmora-Frame: ");
        head.append(*frameSequence);
    }
    head.append("\r\n\r\n");
    return bytes;
}

}  // namespace velmora
