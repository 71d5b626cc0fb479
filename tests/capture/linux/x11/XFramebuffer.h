#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// The memory that an Xvfb shows, written to behind the server's back, as some graphics drivers do:
/// nothing is reported as damaged. One thread.
class XFramebuffer final {
  public:
    /// Makes a folder for the memory; `options` are for the server that is to use it.
    explicit XFramebuffer(XServer::Options options);
    ~XFramebuffer();
    XFramebuffer(const XFramebuffer&) = delete;
    XFramebuffer& operator=(const XFramebuffer&) = delete;

    XServer& server() { return *server_; }
    void fill(const ViewerRectangle& area, std::uint32_t colour);

  private:
    std::string folder_;
    std::unique_ptr<XServer> server_;
};

}  // namespace velmora
