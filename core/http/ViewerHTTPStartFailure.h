#pragma once

#include <string>
#include <variant>

#include "core/http/ViewerHTTPServerError.h"
#include "core/http/ViewerTransport.h"

namespace velmora {

/// What keeps the HTTP server from starting: an error of its own, or the platform's error at the
/// creation of the listener, unchanged. A plain value; any thread.
struct ViewerHTTPStartFailure final {
    explicit ViewerHTTPStartFailure(ViewerHTTPServerError serverError);
    explicit ViewerHTTPStartFailure(ViewerPlatformError platformError);

    friend bool operator==(const ViewerHTTPStartFailure&, const ViewerHTTPStartFailure&) = default;

    /// For the user.
    std::string errorDescription() const;

    std::variant<ViewerHTTPServerError, ViewerPlatformError> error;
};

}  // namespace velmora
