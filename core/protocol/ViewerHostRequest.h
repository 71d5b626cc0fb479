#pragma once

#include <string>

namespace velmora {

/// What is kept of a request's first line. A plain value; any thread.
struct ViewerHostRequest final {
    ViewerHostRequest(std::string method, std::string target);

    friend bool operator==(const ViewerHostRequest&, const ViewerHostRequest&) = default;

    std::string method;
    /// Path and query as received, not decoded.
    std::string target;
};

}  // namespace velmora
