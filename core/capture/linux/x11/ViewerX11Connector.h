#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerTask.h"

namespace velmora {

/// Makes connections to one X server. Connecting blocks, with a frozen server for ever, so it is
/// done on one thread, which exists only while somebody waits for a connection. While an attempt is
/// stuck, further requests wait in line behind it. Any thread; destroying it fails nobody and joins
/// nothing.
class ViewerX11Connector final {
  public:
    /// Receives the connection, or null when there is none to be had.
    using Completion = std::function<void(std::shared_ptr<ViewerX11Connection>)>;
    /// Names a request; 0 is never given out.
    using RequestId = std::uint64_t;

    /// An empty name stands for no display at all.
    explicit ViewerX11Connector(std::string displayName);
    ~ViewerX11Connector();
    ViewerX11Connector(const ViewerX11Connector&) = delete;
    ViewerX11Connector& operator=(const ViewerX11Connector&) = delete;

    const std::string& displayName() const;

    /// Asks for a connection of its own. `completion` runs exactly once unless the request is
    /// withdrawn, on the connector's thread, where it must not block; or, with null and before this
    /// returns, when there is no display, no thread, or the line is full.
    RequestId connect(Completion completion);

    /// Takes a request out of the line, as everybody does who stops waiting. A completion that is
    /// already on its way still arrives, also after this returned.
    void withdraw(RequestId request);

    /// The same for a task, which waits for at most `limit` on `clock`. Null when there is no
    /// connection to be had, nothing when it was not known by then.
    static ViewerTask<std::optional<std::shared_ptr<ViewerX11Connection>>> connectWithin(
        std::shared_ptr<ViewerX11Connector> connector, std::shared_ptr<ViewerContinuousClock> clock,
        ViewerContinuousClock::Duration limit);

  private:
    struct Line;
    static void serve(const std::shared_ptr<Line>& line);
    static void failAll(Line& line);

    const std::shared_ptr<Line> line_;
};

}  // namespace velmora
