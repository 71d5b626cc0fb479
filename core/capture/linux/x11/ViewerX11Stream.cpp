#include "core/capture/linux/x11/ViewerX11Stream.h"

#include <pthread.h>

#include <cstddef>
#include <utility>

#include "core/capture/linux/x11/ViewerX11MonitorCapture.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerMemoryLack.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

/// The last parts of a queue's label that fit into a thread's name.
std::string threadName(const std::string& queueLabel) {
    constexpr std::size_t maximumLength = 15;
    std::string result = queueLabel;
    while (result.size() > maximumLength && result.find('.') != std::string::npos) {
        result.erase(0, result.find('.') + 1);
    }
    return result.substr(0, maximumLength);
}

}  // namespace

ViewerX11Stream::ViewerX11Stream(ViewerExecutor executor,
                                 std::shared_ptr<ViewerContinuousClock> clock,
                                 std::shared_ptr<ViewerX11Connector> connector,
                                 const ViewerNativeDisplay& display,
                                 const ViewerStreamSettings& settings)
    : ViewerLinuxStream(std::move(executor), std::move(clock), settings),
      connector_(std::move(connector)),
      uuidText_(display.uuidText.value_or(std::string())) {}

void ViewerX11Stream::begin(const std::string& queueLabel) {
    const ViewerX11Connector::RequestId request = connector_->connect(
        ifAlive(weak_from_this(),
                [this, queueLabel](const ViewerLinuxStream&,
                                   const std::shared_ptr<ViewerX11Connection>& connection) {
                    connected(connection, queueLabel);
                }));
    bool isWithdrawn = false;
    {
        const ViewerLockGuard guard(lock_);
        request_ = request;
        isWithdrawn = isStopRequested_;
    }
    if (isWithdrawn) {
        connector_->withdraw(request);
    }
}

void ViewerX11Stream::giveUp() {
    std::shared_ptr<ViewerX11Connection> connection;
    ViewerX11Connector::RequestId request = 0;
    {
        const ViewerLockGuard guard(lock_);
        connection = connection_.lock();
        request = request_;
    }
    if (connection) {
        connection->abort();
    } else {
        connector_->withdraw(request);
        end();
    }
}

void ViewerX11Stream::connected(const std::shared_ptr<ViewerX11Connection>& connection,
                                const std::string& queueLabel) {
    {
        const ViewerLockGuard guard(lock_);
        if (isStopRequested_) {
            return;
        }
        connection_ = connection;
    }
    const auto body = [this, self = shared_from_this(), connection, name = threadName(queueLabel)] {
        (void)::pthread_setname_np(::pthread_self(), name.c_str());
        capture(connection);
    };
    if (!connection || !startDetachedThread("x11-capture", body)) {
        end();
    }
}

void ViewerX11Stream::capture(const std::shared_ptr<ViewerX11Connection>& connection) {
    try {
        ViewerX11MonitorCapture(connection, uuidText_, frameInterval())
            .run([this](const ViewerPixelBuffer& pixels) { deliver(pixels); });
    } catch (const ViewerMemoryLack&) {
        // It ends as it does without a server; whoever wants a frame starts another.
        connection->abort();
    }
    end();
}

}  // namespace velmora
