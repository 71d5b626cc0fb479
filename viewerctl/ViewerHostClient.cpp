#include "viewerctl/ViewerHostClient.h"

#include <algorithm>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

namespace {

/// For how long the addresses of a name are taken for granted, so that a picture a second does not
/// cost a look-up a second.
constexpr std::chrono::seconds nameLifetime{60};

ViewerTransfer failed(ViewerFailure failure) {
    ViewerTransfer transfer;
    transfer.failure = failure;
    return transfer;
}

}  // namespace

ViewerHostClient::ViewerHostClient(boost::asio::io_context& loop, std::chrono::milliseconds limit)
    : loop_(loop), limit_(limit), resolver_(loop), transfers_(loop) {}

ViewerTask<ViewerOutcome<ViewerHostDisplayListing>> ViewerHostClient::listing(
    ViewerHostAddress host) {
    const ViewerTransfer transfer =
        co_await exchange(std::move(host), std::string(ViewerHostProtocolV1::displaysPath));
    if (transfer.failure) {
        co_return *transfer.failure;
    }
    co_return ViewerAnswerCheck::listing(transfer.head, transfer.body);
}

ViewerTask<ViewerOutcome<ViewerHostFrame>> ViewerHostClient::frame(ViewerHostAddress host,
                                                                   std::string displayID) {
    std::string target(ViewerHostProtocolV1::framePathPrefix);
    target += ViewerTransfers::percentEncoded(displayID);
    const ViewerTransfer transfer = co_await exchange(std::move(host), std::move(target));
    if (transfer.failure) {
        co_return *transfer.failure;
    }
    co_return ViewerAnswerCheck::frame(transfer.head, transfer.body);
}

ViewerTask<ViewerTransfer> ViewerHostClient::exchange(ViewerHostAddress host, std::string target) {
    const std::string gate = host.authority();
    co_await enter(gate);
    if (isStopped_) {
        leave(gate);
        co_return failed(ViewerFailure::interrupted);
    }
    const auto deadline = std::chrono::steady_clock::now() + limit_;
    ViewerTransfer transfer = co_await exchangeInside(std::move(host), std::move(target), deadline);
    leave(gate);
    co_return transfer;
}

ViewerTask<ViewerTransfer> ViewerHostClient::exchangeInside(ViewerHostAddress host,
                                                            std::string target,
                                                            ViewerEvent::TimePoint deadline) {
    const auto begin = std::chrono::steady_clock::now();
    const auto addresses = co_await addressesOf(host, deadline);
    if (isStopped_ || !addresses) {
        co_return failed(isStopped_ ? ViewerFailure::interrupted : addresses.failure());
    }
    const auto lookedUp = std::chrono::steady_clock::now();
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - lookedUp);
    const std::string name = host.name;
    ViewerTransfer transfer =
        co_await transfers_.get(std::move(host), *addresses, std::move(target), left);
    transfer.timings.lookUp =
        std::chrono::duration_cast<std::chrono::microseconds>(lookedUp - begin);
    if (transfer.failure) {
        knownNames_.erase(name);  // the host may have moved
    }
    co_return transfer;
}

ViewerTask<ViewerOutcome<ViewerAddresses>> ViewerHostClient::addressesOf(
    ViewerHostAddress host, ViewerEvent::TimePoint deadline) {
    if (host.isLiteral()) {
        co_return ViewerAddresses();
    }
    const auto known = knownNames_.find(host.name);
    if (known != knownNames_.end() && known->second.until > std::chrono::steady_clock::now()) {
        co_return known->second.addresses;
    }
    auto found = co_await resolver_.lookUp(host.name, deadline);
    if (found) {
        knownNames_[host.name] = {*found, std::chrono::steady_clock::now() + nameLifetime};
    }
    co_return found;
}

ViewerTask<void> ViewerHostClient::enter(std::string gate) {
    if (gates_[gate].open < mostConnections) {
        ++gates_[gate].open;
        co_return;
    }
    const auto turn = std::make_shared<ViewerEvent>(loop_);
    gates_[gate].waiting.push_back(turn);
    // Whoever leaves lets the next one in, and each does within its limit.
    (void)co_await turn->wait();
}

void ViewerHostClient::leave(const std::string& gate) {
    const auto found = gates_.find(gate);
    std::deque<std::shared_ptr<ViewerEvent>>& waiting = found->second.waiting;
    if (!waiting.empty()) {
        // The place goes to the next without becoming free.
        waiting.front()->set();
        waiting.pop_front();
    } else if (--found->second.open == 0) {
        gates_.erase(found);
    }
}

ViewerTask<bool> ViewerHostClient::pause(std::chrono::milliseconds duration) {
    if (isStopped_) {
        co_return false;
    }
    ViewerEvent end(loop_);
    pauses_.insert(&end);
    const bool isInterrupted = co_await end.wait(std::chrono::steady_clock::now() + duration);
    pauses_.erase(&end);
    co_return !isInterrupted;
}

void ViewerHostClient::stop() {
    isStopped_ = true;
    resolver_.stop();
    transfers_.stop();
    for (ViewerEvent* const pause : pauses_) {
        pause->set();
    }
    if (stopAction_) {
        stopAction_();
    }
}

}  // namespace velmora
