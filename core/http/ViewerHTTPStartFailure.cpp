#include "core/http/ViewerHTTPStartFailure.h"

#include <utility>

namespace velmora {

ViewerHTTPStartFailure::ViewerHTTPStartFailure(ViewerHTTPServerError serverError)
    : error(std::move(serverError)) {}

ViewerHTTPStartFailure::ViewerHTTPStartFailure(ViewerPlatformError platformError)
    : error(std::move(platformError)) {}

std::string ViewerHTTPStartFailure::errorDescription() const {
    if (const auto* platformError = std::get_if<ViewerPlatformError>(&error)) {
        return platformError->description;
    }
    return std::get<ViewerHTTPServerError>(error).errorDescription();
}

}  // namespace velmora
