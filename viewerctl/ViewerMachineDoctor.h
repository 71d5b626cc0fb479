#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerFinding.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Finds out whether this machine can serve its displays. Asks other programs for what this one is
/// not linked with, and blocks for as long as they take, a few seconds each at most. Must outlive
/// its task. On the loop's thread, with nothing else to do.
class ViewerMachineDoctor final {
  public:
    ViewerMachineDoctor(ViewerHostClient& client, const ViewerConsole& console);

    ViewerTask<std::vector<ViewerFinding>> examine();

  private:
    ViewerFinding finding(ViewerFinding::State state, const char* word, std::string_view english,
                          std::string_view russian, std::string text) const;
    std::string say(std::string_view english, std::string_view russian) const;

    ViewerFinding versions() const;
    ViewerFinding hostProgram() const;
    ViewerFinding session() const;
    ViewerFinding access() const;
    ViewerFinding portalAccess() const;
    ViewerTask<ViewerFinding> port() const;
    ViewerFinding firewall() const;
    ViewerFinding autostart() const;

    ViewerHostClient& client_;
    const ViewerConsole& console_;
    /// How the host is started; empty where it is not found.
    const std::string host_;
};

}  // namespace velmora
