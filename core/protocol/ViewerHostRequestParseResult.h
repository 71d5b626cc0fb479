#pragma once

#include <optional>

#include "core/protocol/ViewerHostRequest.h"

namespace velmora {

/// What the bytes received so far amount to: a request, or one of three plain outcomes. A plain
/// value; any thread.
class ViewerHostRequestParseResult final {
  public:
    enum class Case {
        /// A complete, acceptable request.
        request,
        /// The head has not been fully received yet: read more.
        incomplete,
        /// A complete head whose first line is not an acceptable GET request.
        methodNotAllowed,
        /// More bytes than a head may have.
        headersTooLarge
    };

    static ViewerHostRequestParseResult request(ViewerHostRequest request);
    static ViewerHostRequestParseResult incomplete();
    static ViewerHostRequestParseResult methodNotAllowed();
    static ViewerHostRequestParseResult headersTooLarge();

    friend bool operator==(const ViewerHostRequestParseResult&,
                           const ViewerHostRequestParseResult&) = default;

    Case which() const { return case_; }
    /// Only of a result that is `Case::request`; anything else stops the process.
    const ViewerHostRequest& payload() const&;
    ViewerHostRequest payload() &&;

  private:
    ViewerHostRequestParseResult(Case outcome, std::optional<ViewerHostRequest> payload);

    Case case_;
    /// Present exactly when the case is `request`.
    std::optional<ViewerHostRequest> payload_;
};

}  // namespace velmora
