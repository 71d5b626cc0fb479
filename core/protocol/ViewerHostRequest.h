#pragma once

#include <string>

#include "core/protocol/ViewerText.h"

namespace velmora {

/// What is kept of a request's first line. A plain value; any thread.
struct ViewerHostRequest final {
    ViewerHostRequest(std::string method, ViewerText target);

    friend bool operator==(const ViewerHostRequest&, const ViewerHostRequest&) = default;

    std::string method;
    /// Path and query as received, not decoded.
    ViewerText target;
};

}  // namespace velmora
