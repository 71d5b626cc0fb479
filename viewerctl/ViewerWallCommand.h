#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerLocalServer.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerWall.h"

namespace velmora {

/// Shows every display of many hosts in a browser: serves the page to whoever asks, and the
/// pictures to whoever has the token, which is in a file that its owner alone can read. Must
/// outlive its task. On the loop's thread.
class ViewerWallCommand final {
  public:
    struct Options final {
        std::vector<ViewerListedHost> hosts;
        /// Where the page is served; port 0 is any free one.
        ViewerLocalServer::Endpoint endpoint;
        bool opensBrowser;
    };

    ViewerWallCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                      const ViewerConsole& console, Options options);

    /// Until the program ends.
    ViewerTask<ViewerExit> run();

  private:
    using Connection = std::shared_ptr<ViewerLocalConnection>;

    ViewerTask<void> keepWall();
    void tell(const std::string& path, const std::string& link) const;
    ViewerTask<void> respond(ViewerLocalRequest request, Connection connection);
    bool isAllowed(const ViewerLocalRequest& request) const;

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const Options options_;
    const std::string token_;
    /// Fields of every answer.
    ViewerLocalServer::Fields manners_;
    ViewerWall wall_;
    ViewerEvent wallEnded_;
};

}  // namespace velmora
