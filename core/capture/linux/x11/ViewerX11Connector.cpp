#include "core/capture/linux/x11/ViewerX11Connector.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <utility>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerLock.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

/// Everybody who waits gives up after seconds, so that a line this long means that somebody does
/// not withdraw.
constexpr std::size_t maximumWaiting = 64;

}  // namespace

/// What the connector shares with its thread. It lives as long as either.
struct ViewerX11Connector::Line final {
    struct Request final {
        RequestId id;
        Completion completion;
    };

    explicit Line(std::string name) : displayName(std::move(name)) {}

    const std::string displayName;
    ViewerLock lock;
    std::deque<Request> waiting VIEWER_GUARDED_BY(lock);
    RequestId lastId VIEWER_GUARDED_BY(lock) = 0;
    bool hasThread VIEWER_GUARDED_BY(lock) = false;
};

ViewerX11Connector::ViewerX11Connector(std::string displayName)
    : line_(std::make_shared<Line>(std::move(displayName))) {}

ViewerX11Connector::~ViewerX11Connector() = default;

const std::string& ViewerX11Connector::displayName() const {
    return line_->displayName;
}

ViewerX11Connector::RequestId ViewerX11Connector::connect(Completion completion) {
    RequestId id = 0;
    bool isAccepted = false;
    bool startsThread = false;
    {
        const ViewerLockGuard guard(line_->lock);
        id = ++line_->lastId;
        isAccepted = !line_->displayName.empty() && line_->waiting.size() < maximumWaiting;
        if (isAccepted) {
            line_->waiting.push_back({id, completion});
            startsThread = !std::exchange(line_->hasThread, true);
        }
    }
    if (!isAccepted) {
        completion(nullptr);
    } else if (startsThread &&
               !startDetachedThread("x11-connect", [line = line_] { serve(line); })) {
        failAll(*line_);
    }
    return id;
}

void ViewerX11Connector::withdraw(RequestId request) {
    Completion withdrawn;
    const ViewerLockGuard guard(line_->lock);
    const auto found = std::find_if(line_->waiting.begin(), line_->waiting.end(),
                                    [&](const Line::Request& each) { return each.id == request; });
    if (found != line_->waiting.end()) {
        withdrawn = std::move(found->completion);
        line_->waiting.erase(found);
    }
}

ViewerTask<std::optional<std::shared_ptr<ViewerX11Connection>>> ViewerX11Connector::connectWithin(
    std::shared_ptr<ViewerX11Connector> connector, std::shared_ptr<ViewerContinuousClock> clock,
    ViewerContinuousClock::Duration limit) {
    RequestId request = 0;
    const auto call = [&](Completion completion) {
        request = connector->connect(std::move(completion));
    };
    auto connection = co_await ViewerBoundedCall<std::shared_ptr<ViewerX11Connection>>::answer(
        clock, limit, call);
    if (!connection) {
        connector->withdraw(request);
    }
    co_return connection;
}

void ViewerX11Connector::serve(const std::shared_ptr<Line>& line) {
    while (true) {
        {
            const ViewerLockGuard guard(line->lock);
            if (line->waiting.empty()) {
                line->hasThread = false;
                return;
            }
        }
        // An attempt belongs to nobody: its result goes to whoever is first when it ends.
        std::shared_ptr<ViewerX11Connection> connection =
            ViewerX11Connection::connect(line->displayName);
        Completion completion;
        {
            const ViewerLockGuard guard(line->lock);
            if (!line->waiting.empty()) {
                completion = std::move(line->waiting.front().completion);
                line->waiting.pop_front();
            }
        }
        if (completion) {
            completion(std::move(connection));
        }
    }
}

void ViewerX11Connector::failAll(Line& line) {
    std::deque<Line::Request> failed;
    {
        const ViewerLockGuard guard(line.lock);
        failed.swap(line.waiting);
        line.hasThread = false;
    }
    for (const Line::Request& each : failed) {
        each.completion(nullptr);
    }
}

}  // namespace velmora
