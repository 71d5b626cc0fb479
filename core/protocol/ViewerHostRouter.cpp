#include "core/protocol/ViewerHostRouter.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerPercentDecoding.h"

namespace velmora {

namespace {

using Provider = std::shared_ptr<ViewerHostFrameProviding>;

ViewerTask<ViewerHostHTTPResponse> listingResponse(Provider provider, std::string machineName) {
    auto displays = co_await provider->displays();
    const ViewerHostDisplayListing listing(std::string(ViewerHostProtocolV1::protocolIdentifier),
                                           ViewerHostProtocolV1::version, std::move(machineName),
                                           std::move(displays));
    co_return ViewerHostHTTPResponse(200, "OK", "application/json",
                                     ViewerHostListingJSON::encode(listing), std::nullopt);
}

bool isSendable(const std::optional<ViewerHostFrame>& frame) {
    return frame && !frame->jpeg.empty() &&
           frame->jpeg.size() <= ViewerHostProtocolV1::maxFrameBytes;
}

ViewerTask<ViewerHostHTTPResponse> frameResponse(Provider provider, std::string displayID) {
    // An unknown id must never start a capture.
    const auto displays = co_await provider->displays();
    if (std::ranges::find(displays, displayID, &ViewerHostDisplay::id) == displays.end()) {
        co_return ViewerHostHTTPResponse::notFound();
    }
    auto frame = co_await provider->frame(std::move(displayID));
    if (!isSendable(frame)) {
        co_return ViewerHostHTTPResponse::serviceUnavailable();
    }
    co_return ViewerHostHTTPResponse(200, "OK", "image/jpeg", std::move(frame->jpeg),
                                     std::move(frame->sequence));
}

/// `response` is one of the shared ones, which live as long as the process.
ViewerTask<ViewerHostHTTPResponse> fixedResponse(const ViewerHostHTTPResponse* response) {
    co_return *response;
}

}  // namespace

ViewerHostRouter::ViewerHostRouter(std::shared_ptr<ViewerHostFrameProviding> frameProvider,
                                   std::string hostMachineName)
    : provider(std::move(frameProvider)), machineName(std::move(hostMachineName)) {}

ViewerTask<ViewerHostHTTPResponse> ViewerHostRouter::response(ViewerHostRequest request) const {
    if (request.method != "GET") {
        return fixedResponse(&ViewerHostHTTPResponse::methodNotAllowed());
    }
    if (request.target == ViewerHostProtocolV1::displaysPath) {
        return listingResponse(provider, machineName);
    }
    if (request.target.starts_with(ViewerHostProtocolV1::framePathPrefix)) {
        const auto encodedID =
            std::string_view(request.target).substr(ViewerHostProtocolV1::framePathPrefix.size());
        auto displayID = percentDecoded(encodedID);
        if (displayID) {
            return frameResponse(provider, std::move(*displayID));
        }
    }
    return fixedResponse(&ViewerHostHTTPResponse::notFound());
}

}  // namespace velmora
