#include "tests/support/system/HostAnswers.h"

#include <algorithm>

#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

std::optional<std::vector<ViewerHostDisplay>> displaysIn(const HTTPAnswer& answer) {
    const auto listing = ViewerHostListingJSON::decodeListing(answer.body());
    if (answer.status() != 200 || !listing) {
        return std::nullopt;
    }
    return listing->displays;
}

std::string idIn(const HTTPAnswer& answer, const std::string& name) {
    const auto displays = displaysIn(answer);
    if (!displays) {
        return {};
    }
    const auto found = std::ranges::find(*displays, name, &ViewerHostDisplay::name);
    return found != displays->end() ? found->id : std::string();
}

std::string frameTarget(const std::string& id) {
    return std::string(ViewerHostProtocolV1::framePathPrefix) + id;
}

std::optional<JPEGPicture> pictureIn(const HTTPAnswer& answer) {
    return answer.status() == 200 ? JPEGPicture::decode(answer.body()) : std::nullopt;
}

}  // namespace velmora
