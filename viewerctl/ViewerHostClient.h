#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "viewerctl/ViewerAnswerCheck.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerHostAddress.h"
#include "viewerctl/ViewerNameResolver.h"
#include "viewerctl/ViewerTask.h"
#include "viewerctl/ViewerTransfers.h"

namespace velmora {

/// Asks hosts, any number at once, each on at most `mostConnections` connections at a time. Owned
/// by the program's entry; must outlive every task that uses it. On the loop's thread.
class ViewerHostClient final {
  public:
    static constexpr std::size_t mostConnections = 2;

    /// `limit` is for one request: the name's look-up, the connection and the answer. Waiting for
    /// its turn takes nothing from it, because others of the same host may hang.
    ViewerHostClient(boost::asio::io_context& loop, std::chrono::milliseconds limit);

    ViewerTask<ViewerOutcome<ViewerHostDisplayListing>> listing(ViewerHostAddress host);
    ViewerTask<ViewerOutcome<ViewerHostFrame>> frame(ViewerHostAddress host, std::string displayID);
    /// An answer as it came, with the time that each step took.
    ViewerTask<ViewerTransfer> exchange(ViewerHostAddress host, std::string target);
    /// False when the program is ending.
    ViewerTask<bool> pause(std::chrono::milliseconds duration);

    /// Ends every wait; whatever is asked from now on is interrupted.
    void stop();
    /// What else has to end then; nothing any more with an empty function.
    void atStop(std::function<void()> action) { stopAction_ = std::move(action); }
    bool isStopped() const { return isStopped_; }

  private:
    /// The connections to one host.
    struct Gate final {
        std::size_t open = 0;
        std::deque<std::shared_ptr<ViewerEvent>> waiting;
    };
    struct KnownName final {
        ViewerAddresses addresses;
        ViewerEvent::TimePoint until;
    };

    ViewerTask<void> enter(std::string gate);
    void leave(const std::string& gate);
    ViewerTask<ViewerOutcome<ViewerAddresses>> addressesOf(ViewerHostAddress host,
                                                           ViewerEvent::TimePoint deadline);
    ViewerTask<ViewerTransfer> exchangeInside(ViewerHostAddress host, std::string target,
                                              ViewerEvent::TimePoint deadline);

    boost::asio::io_context& loop_;
    const std::chrono::milliseconds limit_;
    ViewerNameResolver resolver_;
    ViewerTransfers transfers_;
    std::map<std::string, Gate> gates_;
    std::map<std::string, KnownName> knownNames_;
    std::set<ViewerEvent*> pauses_;
    std::function<void()> stopAction_;
    bool isStopped_ = false;
};

}  // namespace velmora
