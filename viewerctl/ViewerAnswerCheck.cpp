#include "viewerctl/ViewerAnswerCheck.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>

#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "viewerctl/ViewerAnswerHead.h"
#include "viewerctl/ViewerFrameLabel.h"
#include "viewerctl/ViewerJPEGHeader.h"

namespace velmora::ViewerAnswerCheck {

namespace {

namespace json = boost::json;

/// More displays than any machine has, and pixels a side than any display has.
constexpr std::size_t mostDisplays = 256;
constexpr std::int64_t largestDisplaySide = 65'535;
/// In bytes.
constexpr std::size_t longestText = 4'096;

std::optional<ViewerAnswerHead> headOf(std::string_view head, std::string_view body) {
    auto parsed = ViewerAnswerHead::parse(head);
    const bool isWhole = parsed && parsed->contentLength == body.size();
    return isWhole ? std::move(parsed) : std::nullopt;
}

/// Whether a listing is the protocol's, but of a version whose members may be others.
bool isOfAnotherVersion(std::string_view body) {
    boost::system::error_code error;
    const json::value value = json::parse(body, error);
    const json::object* const object = error ? nullptr : value.if_object();
    if (object == nullptr) {
        return false;
    }
    const json::value* const protocol = object->if_contains("protocol");
    const json::value* const version = object->if_contains("version");
    return protocol != nullptr && version != nullptr && version->is_number() &&
           *protocol == json::value(ViewerHostProtocolV1::protocolIdentifier) &&
           *version != json::value(ViewerHostProtocolV1::version);
}

bool isPlausible(const ViewerHostDisplay& display) {
    const auto isSide = [](std::int64_t side) { return side >= 1 && side <= largestDisplaySide; };
    return !display.id.empty() && display.id.size() <= longestText &&
           display.name.size() <= longestText && isSide(display.width) && isSide(display.height);
}

bool isPlausible(const ViewerHostDisplayListing& listing) {
    return listing.protocol == ViewerHostProtocolV1::protocolIdentifier &&
           listing.version == ViewerHostProtocolV1::version &&
           listing.machineName.size() <= longestText && listing.displays.size() <= mostDisplays &&
           std::all_of(listing.displays.begin(), listing.displays.end(),
                       [](const ViewerHostDisplay& display) { return isPlausible(display); });
}

}  // namespace

ViewerOutcome<ViewerHostDisplayListing> listing(std::string_view head, std::string_view body) {
    const auto parsed = headOf(head, body);
    if (!parsed || parsed->status != 200 || parsed->contentType != "application/json") {
        return ViewerFailure::notAViewerHost;
    }
    if (isOfAnotherVersion(body)) {
        return ViewerFailure::otherVersion;
    }
    auto listing = ViewerHostListingJSON::decodeListing(body);
    if (!listing || !isPlausible(*listing)) {
        return ViewerFailure::notAViewerHost;
    }
    return std::move(*listing);
}

ViewerOutcome<ViewerHostFrame> frame(std::string_view head, std::string_view body) {
    auto parsed = headOf(head, body);
    if (parsed && parsed->contentType == "text/plain" && body.empty()) {
        if (parsed->status == 404) {
            return ViewerFailure::noSuchDisplay;
        }
        if (parsed->status == 503) {
            return ViewerFailure::noPicture;
        }
    }
    if (!parsed || parsed->status != 200 || parsed->contentType != "image/jpeg" || !parsed->label ||
        !ViewerFrameLabel::isValid(*parsed->label)) {
        return ViewerFailure::notAViewerHost;
    }
    ViewerBytes jpeg(body);
    if (jpeg.size() > longestBody || !ViewerJPEGHeader::parse(jpeg.span())) {
        return ViewerFailure::badPicture;
    }
    return ViewerHostFrame(std::move(jpeg), *parsed->label);
}

}  // namespace velmora::ViewerAnswerCheck
