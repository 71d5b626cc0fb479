#pragma once

#include <optional>
#include <string>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Which display somebody means. Pure; any thread.
namespace ViewerDisplayChoice {

/// The display of the listing that has `wanted` for its id; else the only one of that name; else
/// the one at that number, counted from 1. Nothing where there is none.
std::optional<ViewerHostDisplay> in(const ViewerHostDisplayListing& listing,
                                    const std::string& wanted);

}  // namespace ViewerDisplayChoice

/// Fetches one picture. Must outlive its task. On the loop's thread.
class ViewerFrameCommand final {
  public:
    struct Options final {
        ViewerHostAddress host;
        std::string display;
        /// Empty for standard output.
        std::string file;
        /// Whether the picture has to change first.
        bool waitsForChange = false;
    };

    ViewerFrameCommand(ViewerHostClient& client, const ViewerConsole& console, Options options);

    ViewerTask<ViewerExit> run();

  private:
    ViewerTask<ViewerOutcome<ViewerHostFrame>> fetch();
    ViewerTask<ViewerOutcome<ViewerHostFrame>> fetchChanged(std::string displayID);
    ViewerExit write(const ViewerHostFrame& frame) const;

    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const Options options_;
};

}  // namespace velmora
