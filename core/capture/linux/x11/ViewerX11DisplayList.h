#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/x11/ViewerX11Connector.h"
#include "core/capture/linux/x11/ViewerX11DisplayReader.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// The X server's displays, kept current by the server's notices: as long as none came, the list is
/// given out again without asking the server. Nothing here blocks; connecting and reading is done
/// on threads that live as long as that takes. Owned by the screen capture. Made, used and
/// destroyed on the thread of its executor, which outlives it and its threads.
class ViewerX11DisplayList final : public std::enable_shared_from_this<ViewerX11DisplayList> {
  public:
    using Displays = ViewerScreenCapture::Displays;
    using Completion = ViewerScreenCapture::DisplaysCompletion;

    /// How long a refresh may take before its connection is given up.
    static constexpr std::chrono::seconds refreshLimit{4};

    ViewerX11DisplayList(ViewerExecutor executor, std::shared_ptr<ViewerX11Connector> connector);
    ~ViewerX11DisplayList();
    ViewerX11DisplayList(const ViewerX11DisplayList&) = delete;
    ViewerX11DisplayList& operator=(const ViewerX11DisplayList&) = delete;

    /// The last answer of the server that the list is connected to; true while there is none.
    bool hasAccess();

    /// Passes the displays as they are after everything that the server has told by now: at once
    /// when it told nothing new, else from the executor, after a refresh that callers share. Null
    /// when there is no list to be had.
    void get(Completion completion);

  private:
    using Waiting = std::vector<Completion>;

    /// A refresh under way: it connects if need be, then it reads.
    struct Refresh final {
        Refresh(const ViewerExecutor& executor, std::uint64_t number, Waiting callers)
            : id(number), waiting(std::move(callers)), deadline(executor) {}

        std::uint64_t id;
        ViewerX11Connector::RequestId request = 0;
        bool isReading = false;
        Waiting waiting;
        /// Came while it was reading: the server may have told them more than was read.
        Waiting cameLater;
        boost::asio::steady_timer deadline;
    };

    /// Takes in what the server told by now.
    void takeNotices();
    void startRefresh(Waiting waiting);
    void connect();
    void connected(const std::shared_ptr<ViewerX11Connection>& connection);
    void read();
    void finished(ViewerX11Displays result);
    /// Ends a refresh without a result for anybody.
    void giveUp();
    void keep(ViewerX11Displays result);
    void forgetConnection();
    bool isCurrent(std::uint64_t refresh) const { return refresh_ && refresh_->id == refresh; }

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerX11Connector> connector_;
    const std::thread::id thread_ = std::this_thread::get_id();
    /// The connection, if there is one; a refresh's thread uses it alone.
    std::shared_ptr<ViewerX11DisplayReader> reader_;
    /// The answer of the server behind `reader_`.
    std::optional<bool> access_;
    /// What was read last, or null when that failed.
    std::shared_ptr<const Displays> displays_;
    /// Whether the server told nothing since `displays_` was read.
    bool isFresh_ = false;
    std::uint64_t lastRefresh_ = 0;
    std::optional<Refresh> refresh_;
};

}  // namespace velmora
