#include "core/capture/linux/wayland/portal/ViewerDesktopPortal.h"

#include <boost/asio/post.hpp>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/portal/ViewerPortalNames.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

/// By this name the desktop knows the program: its desktop file is called so.
constexpr const char* applicationId = "com.quilmer.velmora.viewer_host";

/// Of a portal that has none to offer: some call every monitor a window.
void leaveNoWindows(std::vector<ViewerGrantedStream>& streams) {
    for (ViewerGrantedStream& each : streams) {
        if (each.sourceType == ViewerGrantedStream::window) {
            each.sourceType = ViewerGrantedStream::monitor;
        }
    }
}

}  // namespace

ViewerDesktopPortal::ViewerDesktopPortal(std::shared_ptr<ViewerLazyBus> bus,
                                         ViewerExecutor executor, Clock clock)
    : lazyBus_(std::move(bus)), executor_(std::move(executor)), clock_(std::move(clock)) {}

void ViewerDesktopPortal::open(std::string token, Completion completion) {
    ++course_;
    (void)startTask(executor_,
                    converse(shared_from_this(), std::move(token), std::move(completion)));
}

ViewerTask<void> ViewerDesktopPortal::converse(std::shared_ptr<ViewerDesktopPortal> self,
                                               std::string token, Completion completion) {
    const std::uint64_t course = self->course_;
    const auto isWanted = [&] { return self->course_ == course; };
    Answer answer;
    answer.access = co_await self->introduce();
    if (isWanted() && answer.access == Access::granted) {
        answer.access = co_await self->look();
    }
    if (isWanted() && answer.access == Access::granted) {
        const auto session =
            std::make_shared<ViewerPortalSession>(self->bus_, self->executor_, self->clock_);
        self->session_ = session;
        ViewerPortalResponse response =
            co_await session->open(std::move(token), self->offer_.canHideCursor);
        answer.access = response.access;
        answer.token = std::move(response.restoreToken);
        answer.grant.streams = std::move(response.streams).value_or(answer.grant.streams);
        if (!self->offer_.hasWindows) {
            leaveNoWindows(answer.grant.streams);
        }
    }
    if (!isWanted()) {
        co_return;
    }
    if (answer.access != Access::granted) {
        self->session_ = nullptr;
    } else {
        self->session_->whenClosed(ifAlive(self->weak_from_this(), [](ViewerDesktopPortal& portal) {
            if (portal.ended_) {
                portal.session_ = nullptr;
                portal.ended_(Ending::closed);
            }
        }));
    }
    completion(std::move(answer));
}

ViewerTask<ViewerCaptureAccess> ViewerDesktopPortal::introduce() {
    if (isIntroduced_) {
        co_return Access::granted;
    }
    bus_ = lazyBus_->connection();
    if (!bus_) {
        co_return Access::portalMissing;
    }
    watchPortal();
    const ViewerBusReply reply = co_await bus_->call(makeRegistration(), firstLimit);
    const Access access = portalAccessAfter(reply);
    // A portal that does not know the call, or finds no desktop file of that name, is there too.
    isIntroduced_ =
        reply.kind == ViewerBusReply::Kind::answered ||
        (reply.kind == ViewerBusReply::Kind::refused && access != Access::portalMissing);
    co_return isIntroduced_ ? Access::granted : access;
}

ViewerTask<ViewerCaptureAccess> ViewerDesktopPortal::look() {
    ViewerBusMessage call = bus_->makeCall(ViewerPortalNames::service, ViewerPortalNames::object,
                                           "org.freedesktop.DBus.Properties", "GetAll");
    if (call) {
        const int result =
            ViewerBusLibrary::loaded().append(call.get(), "s", ViewerPortalNames::screenCast);
        viewerCheck(result >= 0, "a call takes the name of an interface");
    }
    const ViewerBusReply reply =
        co_await bus_->call(std::move(call), ViewerScreenCapture::answerLimit);
    if (reply.kind != ViewerBusReply::Kind::answered) {
        co_return portalAccessAfter(reply);
    }
    offer_ = ViewerPortalOffer::read(reply.message.get()).value_or(ViewerPortalOffer());
    co_return offer_.hasMonitors ? Access::granted : Access::portalWithoutScreens;
}

ViewerBusMessage ViewerDesktopPortal::makeRegistration() const {
    ViewerBusMessage call = bus_->makeCall(ViewerPortalNames::service, ViewerPortalNames::object,
                                           ViewerPortalNames::registry, "Register");
    if (call) {
        const int result =
            ViewerBusLibrary::loaded().append(call.get(), "sa{sv}", applicationId, 0);
        viewerCheck(result >= 0, "a call takes a name and no options");
    }
    return call;
}

void ViewerDesktopPortal::watchPortal() {
    const std::string rule = std::string(
                                 "type='signal',sender='org.freedesktop.DBus',"
                                 "interface='org.freedesktop.DBus',"
                                 "member='NameOwnerChanged',arg0='") +
                             ViewerPortalNames::service + "'";
    ownerSubscription_ =
        bus_->subscribe(rule, ifAlive(weak_from_this(), &ViewerDesktopPortal::ownerHasChanged));
    bus_->whenLost(ifAlive(weak_from_this(),
                           [](ViewerDesktopPortal& self) { self.lose(Access::portalMissing); }));
}

void ViewerDesktopPortal::ownerHasChanged(sd_bus_message* signal) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (ViewerBusLibrary::loaded().read(signal, "sss", &name, &before, &after) <= 0) {
        return;
    }
    // The first owner is introduced by who called for it.
    if (isIntroduced_ && !std::string_view(after).empty()) {
        bus_->send(makeRegistration());
    }
    if (!std::string_view(before).empty()) {
        lose(Access::portalSilent);
    }
}

void ViewerDesktopPortal::lose(Access reason) {
    const auto session = session_;
    if (!session) {
        return;
    }
    const bool wasOpen = session->isOpen();
    session->close(reason);
    if (wasOpen && ended_) {
        session_ = nullptr;
        ended_(Ending::portalLost);
    }
}

void ViewerDesktopPortal::close() {
    ++course_;
    if (const auto session = std::exchange(session_, nullptr)) {
        session->close(Access::declined);
    }
}

void ViewerDesktopPortal::openRemote(ViewerScreenCast::Remote remote) {
    if (session_ == nullptr || !session_->isOpen()) {
        boost::asio::post(executor_, [answer = std::move(remote)] { answer(-1); });
        return;
    }
    (void)startTask(executor_, ViewerPortalSession::openRemote(session_, std::move(remote)));
}

void ViewerDesktopPortal::end() {
    close();
    lazyBus_->close();
}

}  // namespace velmora
