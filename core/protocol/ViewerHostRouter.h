#pragma once

#include <memory>
#include <string>
#include <variant>

#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/protocol/ViewerHostHTTPResponse.h"
#include "core/protocol/ViewerHostRequest.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

class ViewerListingBody;

/// A response, or the task that makes it.
using ViewerHostAnswer = std::variant<ViewerHostHTTPResponse, ViewerTask<ViewerHostHTTPResponse>>;

/// Turns one request into one response by asking the frame provider. A value; any number of tasks
/// may call it at once.
struct ViewerHostRouter final {
    ViewerHostRouter(std::shared_ptr<ViewerHostFrameProviding> provider, std::string machineName);

    /// Never fails: every outcome is a response. Keeps what it needs of the router alive itself.
    ViewerTask<ViewerHostHTTPResponse> response(ViewerHostRequest request) const;
    /// The same, made at once as far as that takes no wait and `caller`, on which the caller runs,
    /// is where the provider works.
    ViewerHostAnswer answer(const ViewerHostRequest& request, const ViewerExecutor& caller) const;

    std::shared_ptr<ViewerHostFrameProviding> provider;
    /// Written into every display listing.
    std::string machineName;
    /// What the last listing was, shared by copies.
    std::shared_ptr<ViewerListingBody> listingBody;
};

}  // namespace velmora
