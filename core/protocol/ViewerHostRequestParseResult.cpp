#include "core/protocol/ViewerHostRequestParseResult.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ViewerHostRequestParseResult ViewerHostRequestParseResult::request(ViewerHostRequest request) {
    return {Case::request, std::move(request)};
}

ViewerHostRequestParseResult ViewerHostRequestParseResult::incomplete() {
    return {Case::incomplete, std::nullopt};
}

ViewerHostRequestParseResult ViewerHostRequestParseResult::methodNotAllowed() {
    return {Case::methodNotAllowed, std::nullopt};
}

ViewerHostRequestParseResult ViewerHostRequestParseResult::headersTooLarge() {
    return {Case::headersTooLarge, std::nullopt};
}

const ViewerHostRequest& ViewerHostRequestParseResult::payload() const& {
    viewerCheck(payload_.has_value(), "only a parsed request has a payload");
    return *payload_;
}

ViewerHostRequest ViewerHostRequestParseResult::payload() && {
    viewerCheck(payload_.has_value(), "only a parsed request has a payload");
    return *std::move(payload_);
}

ViewerHostRequestParseResult::ViewerHostRequestParseResult(Case outcome,
                                                           std::optional<ViewerHostRequest> payload)
    : case_(outcome), payload_(std::move(payload)) {}

}  // namespace velmora
