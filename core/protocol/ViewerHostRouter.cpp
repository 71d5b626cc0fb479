#include "core/protocol/ViewerHostRouter.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerPercentDecoding.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/ViewerMemoryLack.h"

namespace velmora {

/// The JSON of the last listing, written anew when the displays are others. Any thread.
class ViewerListingBody final {
  public:
    explicit ViewerListingBody(std::string machineName) : machineName_(std::move(machineName)) {}

    ViewerBytes of(const ViewerHostDisplays& displays) {
        {
            const ViewerLockGuard guard(lock_);
            if (json_ && displays_.isSame(displays)) {
                return *json_;
            }
        }
        const ViewerHostDisplayListing listing(
            std::string(ViewerHostProtocolV1::protocolIdentifier), ViewerHostProtocolV1::version,
            machineName_, {displays.begin(), displays.end()});
        ViewerBytes json = ViewerHostListingJSON::encode(listing);
        const ViewerLockGuard guard(lock_);
        displays_ = displays;
        json_ = json;
        return json;
    }

  private:
    const std::string machineName_;

    ViewerLock lock_;
    ViewerHostDisplays displays_ VIEWER_GUARDED_BY(lock_);
    /// That of those displays; nothing before the first listing.
    std::optional<ViewerBytes> json_ VIEWER_GUARDED_BY(lock_);
};

namespace {

using Provider = std::shared_ptr<ViewerHostFrameProviding>;

/// What a request asks for.
struct Wish final {
    enum class Kind { listing, frame, nothing };

    Kind kind;
    /// Of the display whose frame it is.
    ViewerText displayID;
    /// The answer to a wish for nothing that there is: one of the shared ones, which live as long
    /// as the process.
    const ViewerHostHTTPResponse* refusal;
};

Wish refused(const ViewerHostHTTPResponse& refusal) {
    return {Wish::Kind::nothing, {}, &refusal};
}

Wish wishOf(const ViewerHostRequest& request) {
    if (request.method != "GET") {
        return refused(ViewerHostHTTPResponse::methodNotAllowed());
    }
    const std::string_view target = request.target;
    if (target == ViewerHostProtocolV1::displaysPath) {
        return {Wish::Kind::listing, {}, nullptr};
    }
    if (target.starts_with(ViewerHostProtocolV1::framePathPrefix)) {
        const auto encodedID = target.substr(ViewerHostProtocolV1::framePathPrefix.size());
        try {
            const ViewerMemoryAttempt attempt;
            if (auto displayID = percentDecoded(encodedID)) {
                return {Wish::Kind::frame, std::move(*displayID), nullptr};
            }
        } catch (const ViewerMemoryLack&) {
            return refused(ViewerHostHTTPResponse::headersTooLarge());
        }
    }
    return refused(ViewerHostHTTPResponse::notFound());
}

bool isListed(const ViewerHostDisplays& displays, std::string_view displayID) {
    return std::ranges::find(displays, displayID, &ViewerHostDisplay::id) != displays.end();
}

ViewerHostHTTPResponse listingOf(ViewerListingBody& body, const ViewerHostDisplays& displays) {
    return {200, "OK", "application/json", body.of(displays), std::nullopt};
}

ViewerHostHTTPResponse responseWith(std::optional<ViewerHostFrame> frame) {
    const bool isSendable =
        frame && !frame->jpeg.empty() && frame->jpeg.size() <= ViewerHostProtocolV1::maxFrameBytes;
    if (!isSendable) {
        return ViewerHostHTTPResponse::serviceUnavailable();
    }
    return {200, "OK", "image/jpeg", std::move(frame->jpeg), std::move(frame->sequence)};
}

ViewerTask<ViewerHostHTTPResponse> listingResponse(Provider provider,
                                                   std::shared_ptr<ViewerListingBody> body) {
    const auto displays = co_await provider->displays();
    co_return listingOf(*body, displays);
}

ViewerTask<ViewerHostHTTPResponse> listedFrameResponse(Provider provider, std::string displayID) {
    auto frame = co_await provider->frame(std::move(displayID));
    co_return responseWith(std::move(frame));
}

ViewerTask<ViewerHostHTTPResponse> frameResponse(Provider provider, ViewerText displayID) {
    // An unknown id must never start a capture.
    const auto displays = co_await provider->displays();
    if (!isListed(displays, displayID)) {
        co_return ViewerHostHTTPResponse::notFound();
    }
    co_return co_await listedFrameResponse(std::move(provider), std::string(displayID));
}

ViewerTask<ViewerHostHTTPResponse> fixedResponse(const ViewerHostHTTPResponse* response) {
    co_return *response;
}

ViewerTask<ViewerHostHTTPResponse> taskFor(Wish wish, const Provider& provider,
                                           const std::shared_ptr<ViewerListingBody>& listingBody) {
    switch (wish.kind) {
        case Wish::Kind::listing:
            return listingResponse(provider, listingBody);
        case Wish::Kind::frame:
            return frameResponse(provider, std::move(wish.displayID));
        case Wish::Kind::nothing:
            break;
    }
    return fixedResponse(wish.refusal);
}

}  // namespace

ViewerHostRouter::ViewerHostRouter(std::shared_ptr<ViewerHostFrameProviding> frameProvider,
                                   std::string hostMachineName)
    : provider(std::move(frameProvider)),
      machineName(std::move(hostMachineName)),
      listingBody(std::make_shared<ViewerListingBody>(machineName)) {}

ViewerTask<ViewerHostHTTPResponse> ViewerHostRouter::response(ViewerHostRequest request) const {
    return taskFor(wishOf(request), provider, listingBody);
}

ViewerHostAnswer ViewerHostRouter::answer(const ViewerHostRequest& request,
                                          const ViewerExecutor& caller) const {
    Wish wish = wishOf(request);
    if (wish.kind == Wish::Kind::nothing) {
        return *wish.refusal;
    }
    const auto displays = provider->displaysAtHand(caller);
    if (!displays) {
        return taskFor(std::move(wish), provider, listingBody);
    }
    if (wish.kind == Wish::Kind::listing) {
        return listingOf(*listingBody, *displays);
    }
    if (!isListed(*displays, wish.displayID)) {
        return ViewerHostHTTPResponse::notFound();
    }
    auto frame = provider->frameAtHand(caller, wish.displayID);
    if (frame) {
        return responseWith(std::move(frame));
    }
    return listedFrameResponse(provider, std::string(wish.displayID));
}

}  // namespace velmora
