#pragma once

#include <memory>
#include <string>

#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/protocol/ViewerHostRequest.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// Turns one request into one response by asking the frame provider. A value with no state of its
/// own; any number of tasks may call it at once.
struct ViewerHostRouter final {
    ViewerHostRouter(std::shared_ptr<ViewerHostFrameProviding> provider, std::string machineName);

    /// Never fails: every outcome is a response. Keeps what it needs of the router alive itself.
    ViewerTask<ViewerHostHTTPResponse> response(ViewerHostRequest request) const;

    std::shared_ptr<ViewerHostFrameProviding> provider;
    /// Written into every display listing.
    std::string machineName;
};

}  // namespace velmora
