#include "core/capture/linux/wayland/portal/ViewerPortalRequest.h"

#include <algorithm>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/portal/ViewerPortalNames.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;

/// The object that a portal makes for a request of this connection.
std::string pathOf(std::string connectionName, const std::string& token) {
    std::erase(connectionName, ':');
    std::replace(connectionName.begin(), connectionName.end(), '.', '_');
    return std::string(ViewerPortalNames::object) + "/request/" + connectionName + "/" + token;
}

std::string senderOf(sd_bus_message* message) {
    const char* const sender = ViewerBusLibrary::loaded().sender(message);
    return sender != nullptr ? sender : "";
}

}  // namespace

std::shared_ptr<ViewerPortalRequest> ViewerPortalRequest::make(Bus bus, ViewerExecutor executor,
                                                               Clock clock) {
    // The constructor is private.
    std::shared_ptr<ViewerPortalRequest> request(
        new ViewerPortalRequest(std::move(bus), std::move(executor), std::move(clock)));
    request->listen();
    return request;
}

ViewerPortalRequest::ViewerPortalRequest(Bus bus, ViewerExecutor executor, Clock clock)
    : bus_(std::move(bus)),
      executor_(std::move(executor)),
      clock_(std::move(clock)),
      token_("viewer" + makeRandomToken()),
      path_(pathOf(bus_->uniqueName(), token_)) {}

void ViewerPortalRequest::listen() {
    const std::string rule = std::string("type='signal',sender='") + ViewerPortalNames::service +
                             "',interface='" + ViewerPortalNames::request + "',member='Response'";
    subscription_ =
        bus_->subscribe(rule, ifAlive(weak_from_this(), &ViewerPortalRequest::responseHasCome));
}

ViewerTask<ViewerPortalResponse> ViewerPortalRequest::outcome(ViewerBusMessage call,
                                                              std::optional<Duration> limit) {
    const auto self = shared_from_this();
    const auto end = clock_->now() + limit.value_or(Duration::zero());
    const ViewerBusReply reply =
        co_await bus_->call(std::move(call), ViewerScreenCapture::answerLimit);
    const char* object = nullptr;
    const bool isAnswered = reply.kind == ViewerBusReply::Kind::answered &&
                            ViewerBusLibrary::loaded().read(reply.message.get(), "o", &object) > 0;
    if (outcome_) {
        if (isAnswered && object != path_) {
            sendClose(object);
        }
        co_return *outcome_;
    }
    if (!isAnswered) {
        close(portalAccessAfter(reply));
        co_return *outcome_;
    }
    path_ = object;
    sender_ = senderOf(reply.message.get());
    isAnswered_ = true;
    for (Arrival& arrival : std::exchange(arrivals_, {})) {
        if (arrival.path == path_ && arrival.sender == sender_) {
            take(std::move(arrival.response));
        }
    }
    if (outcome_) {
        co_return *outcome_;
    }
    if (limit && timer_ == ViewerContinuousClock::TimerId()) {
        giveUpAfter(end - clock_->now(), Access::portalSilent);
    }
    co_return co_await ViewerOneShot<ViewerPortalResponse>::wait(
        [&](ViewerOneShot<ViewerPortalResponse> task) { self->waiting_ = std::move(task); });
}

void ViewerPortalRequest::responseHasCome(sd_bus_message* signal) {
    Arrival arrival{senderOf(signal), ViewerBusLibrary::loaded().path(signal),
                    ViewerPortalResponse::read(signal)};
    if (!isAnswered_) {
        arrivals_.push_back(std::move(arrival));
    } else if (arrival.path == path_ && arrival.sender == sender_) {
        take(std::move(arrival.response));
    }
}

void ViewerPortalRequest::giveUpAfter(Duration grace, Access reason) {
    clock_->withdraw(timer_);
    timer_ = clock_->schedule(
        clock_->now() + grace, executor_,
        ifAlive(weak_from_this(), [reason](ViewerPortalRequest& self) { self.close(reason); }));
}

void ViewerPortalRequest::close(Access reason) {
    if (outcome_) {
        return;
    }
    sendClose(path_);
    take(ViewerPortalResponse::failure(reason));
}

void ViewerPortalRequest::take(ViewerPortalResponse response) {
    if (outcome_) {
        return;
    }
    outcome_ = std::move(response);
    subscription_.reset();
    clock_->withdraw(timer_);
    if (waiting_) {
        auto task = std::move(waiting_);
        task.complete(*outcome_);
    }
}

void ViewerPortalRequest::sendClose(const std::string& path) const {
    bus_->send(bus_->makeCall(ViewerPortalNames::service, path.c_str(), ViewerPortalNames::request,
                              "Close"));
}

}  // namespace velmora
