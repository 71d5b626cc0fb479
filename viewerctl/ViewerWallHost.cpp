#include "viewerctl/ViewerWallHost.h"

#include <utility>

namespace velmora {

ViewerWallHost::ViewerWallHost(boost::asio::io_context& loop, ViewerListedHost where)
    : listed(std::move(where)), bell(loop) {}

}  // namespace velmora
