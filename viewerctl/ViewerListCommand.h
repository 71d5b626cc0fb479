#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// What a host answered to the question for its displays.
struct ViewerListedAnswer final {
    ViewerListedHost host;
    ViewerOutcome<ViewerHostDisplayListing> outcome;
};

/// The ways to show answers, in the order of the hosts.
namespace ViewerListing {

std::string table(const std::vector<ViewerListedAnswer>& answers, const ViewerConsole& console);
std::string json(const std::vector<ViewerListedAnswer>& answers, ViewerLanguage language);

}  // namespace ViewerListing

/// Tells which displays each of some hosts has. Must outlive its task. On the loop's thread.
class ViewerListCommand final {
  public:
    ViewerListCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                      const ViewerConsole& console, std::vector<ViewerListedHost> hosts,
                      bool isForPrograms);

    /// Asks all of them at once, and shows what they answered.
    ViewerTask<ViewerExit> run();

  private:
    ViewerTask<void> ask(std::size_t index);
    void noteAnswer();
    void show() const;

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    const ViewerConsole& console_;
    std::vector<ViewerListedAnswer> answers_;
    const bool isForPrograms_;
    std::size_t answered_ = 0;
    ViewerEvent allAnswered_;
};

}  // namespace velmora
