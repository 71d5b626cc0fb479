#pragma once

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
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/linux/ViewerLoopIntake.h"

namespace velmora {

/// The X server's displays, kept current by the server's notices: as long as none came, the list is
/// given out again without asking the server. Nothing here blocks; connecting and reading is done
/// on threads that live as long as that takes. Owned by the screen capture, and by a refresh while
/// it lasts. Made and used on the thread of its executor, which outlives it and its threads.
class ViewerX11DisplayList final : public std::enable_shared_from_this<ViewerX11DisplayList> {
  public:
    using Displays = ViewerScreenCapture::Displays;
    using Completion = ViewerScreenCapture::DisplaysCompletion;

    ViewerX11DisplayList(ViewerExecutor executor, std::shared_ptr<ViewerContinuousClock> clock,
                         std::shared_ptr<ViewerX11Connector> connector);
    ViewerX11DisplayList(const ViewerX11DisplayList&) = delete;
    ViewerX11DisplayList& operator=(const ViewerX11DisplayList&) = delete;

    /// The last answer of the server that the list is connected to; true while there is none.
    bool hasAccess();

    /// What `get` would pass at once, else null.
    std::shared_ptr<const Displays> current();

    /// Passes the displays as they are after everything that the server has told by now, or when
    /// another request of the same batch asked: at once when it told nothing new, else from the
    /// executor, after a refresh that callers share. Null when there is no list to be had.
    void get(Completion completion);

  private:
    using Self = std::shared_ptr<ViewerX11DisplayList>;
    using Waiting = std::vector<Completion>;
    using Instant = ViewerContinuousClock::Instant;

    /// A refresh under way: it connects if need be, then it reads.
    struct Refresh final {
        explicit Refresh(Waiting callers) : waiting(std::move(callers)) {}

        bool isReading = false;
        Waiting waiting;
        /// Came while it was reading: the server may have told them more than was read.
        Waiting cameLater;
    };

    /// Takes in what the server told by now.
    void takeNotices();
    /// The same, unless that was done since the last request came in.
    void takeNoticesOnce();
    void startRefresh(Waiting waiting);
    static ViewerTask<void> refresh(Self self);
    /// Each has until the deadline, after which the connection is given up.
    static ViewerTask<void> connect(Self self, Instant deadline);
    static ViewerTask<std::optional<ViewerX11Displays>> read(Self self, Instant deadline);
    /// Nothing stands for a server that did not answer in time.
    void finished(std::optional<ViewerX11Displays> result);
    void keep(ViewerX11Displays result);
    void forgetConnection();

    const ViewerExecutor executor_;
    const std::shared_ptr<ViewerContinuousClock> clock_;
    const std::shared_ptr<ViewerX11Connector> connector_;
    const std::thread::id thread_ = std::this_thread::get_id();
    const ViewerLoopIntake& intake_;
    /// The batch of requests for which the notices were taken last.
    std::uint64_t noticedBatch_ = ViewerLoopIntake::noBatch;
    /// The connection, if there is one; a refresh's thread uses it alone.
    std::shared_ptr<ViewerX11DisplayReader> reader_;
    /// The answer of the server behind `reader_`.
    std::optional<bool> access_;
    /// What was read last, or null when that failed.
    std::shared_ptr<const Displays> displays_;
    /// Whether the server told nothing since `displays_` was read.
    bool isFresh_ = false;
    std::optional<Refresh> refresh_;
};

}  // namespace velmora
