#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerFinding.h"
#include "viewerctl/ViewerHostAddress.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Finds out how it stands with one host, as far as its listings tell. Must outlive its task. On
/// the loop's thread.
class ViewerHostDoctor final {
  public:
    ViewerHostDoctor(ViewerHostClient& client, const ViewerConsole& console,
                     ViewerHostAddress host);

    /// Asks a few times, one after the other: the name, the connection, the protocol, the time of
    /// each step, and whether others keep the host's waiting line full.
    ViewerTask<std::vector<ViewerFinding>> examine();

  private:
    ViewerFinding finding(ViewerFinding::State state, const char* word, std::string_view english,
                          std::string_view russian, std::string text) const;
    std::string milliseconds(std::chrono::microseconds time) const;
    std::vector<ViewerFinding> judge(const std::vector<ViewerTransfer>& transfers) const;
    void judgeReach(std::vector<ViewerFinding>& findings, const ViewerTransfer& transfer) const;
    void judgeAnswer(std::vector<ViewerFinding>& findings,
                     const std::vector<ViewerTransfer>& transfers) const;
    ViewerFinding waitingLine(const std::vector<ViewerTransfer>& transfers) const;
    std::string adviceFor(ViewerFailure failure) const;

    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const ViewerHostAddress host_;
};

}  // namespace velmora
