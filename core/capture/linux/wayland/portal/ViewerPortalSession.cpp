#include "core/capture/linux/wayland/portal/ViewerPortalSession.h"

#include <fcntl.h>

#include <chrono>
#include <cstdint>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/portal/ViewerPortalNames.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;

constexpr std::uint32_t hiddenCursor = 1;
/// What is granted may be granted again as long as this program's connection lives.
constexpr std::uint32_t persistWhileRunning = 1;
/// A portal that is about to say what became of a request may end the session first.
constexpr std::chrono::seconds outcomeAfterClosed{1};

template <typename... Arguments>
void append(const ViewerBusMessage& message, const char* types, Arguments... arguments) {
    const int result =
        ViewerBusLibrary::loaded().append(message.get(), types, std::move(arguments)...);
    viewerCheck(result >= 0, "a message takes arguments of its types");
}

/// The options at the end of every call of the portal's.
class Options final {
  public:
    explicit Options(const ViewerBusMessage& message) : message_(message) {
        const int result =
            ViewerBusLibrary::loaded().openContainer(message_.get(), SD_BUS_TYPE_ARRAY, "{sv}");
        viewerCheck(result >= 0, "a message takes a dictionary");
    }
    ~Options() {
        const int result = ViewerBusLibrary::loaded().closeContainer(message_.get());
        viewerCheck(result >= 0, "a dictionary can be ended");
    }
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;

    void text(const char* name, const std::string& value) const {
        append(message_, "{sv}", name, "s", value.c_str());
    }
    void number(const char* name, std::uint32_t value) const {
        append(message_, "{sv}", name, "u", value);
    }
    void truth(const char* name, bool value) const {
        append(message_, "{sv}", name, "b", static_cast<int>(value));
    }

  private:
    const ViewerBusMessage& message_;
};

/// A descriptor of one's own of the one in the answer, or -1.
int descriptorIn(const ViewerBusReply& reply) {
    int received = -1;
    if (reply.kind != ViewerBusReply::Kind::answered ||
        ViewerBusLibrary::loaded().read(reply.message.get(), "h", &received) <= 0) {
        return -1;
    }
    return ::fcntl(received, F_DUPFD_CLOEXEC, 0);
}

}  // namespace

ViewerPortalSession::ViewerPortalSession(Bus bus, ViewerExecutor executor, Clock clock)
    : bus_(std::move(bus)), executor_(std::move(executor)), clock_(std::move(clock)) {}

ViewerTask<ViewerPortalResponse> ViewerPortalSession::open(std::string token, bool canHideCursor) {
    const auto self = shared_from_this();
    const Limit limit = token.empty() ? Limit() : Limit(ViewerScreenCapture::answerLimit);
    listen();
    const Response created = co_await create();
    if (created.access != Access::granted) {
        co_return created;
    }
    if (!ViewerBusLibrary::loaded().isObjectPath(created.sessionHandle.c_str())) {
        co_return Response::failure(Access::portalSilent);
    }
    handle_ = created.sessionHandle;
    if (end_) {
        sendClose();
        co_return Response::failure(*end_);
    }
    Response answer = co_await selectSources(std::move(token), canHideCursor, limit);
    if (answer.access == Access::granted && !end_) {
        answer = co_await start(limit);
    }
    if (end_) {
        co_return Response::failure(*end_);
    }
    if (answer.access == Access::granted && !answer.streams) {
        answer = Response::failure(Access::portalSilent);
    }
    // What is granted in a session that is gone by now is nothing.
    if (answer.access == Access::granted && wasClosedEarly_) {
        answer = Response::failure(Access::declined);
    }
    isOpen_ = answer.access == Access::granted;
    if (!isOpen_) {
        close(answer.access);
    }
    co_return answer;
}

void ViewerPortalSession::listen() {
    const std::string rule = std::string("type='signal',sender='") + ViewerPortalNames::service +
                             "',interface='" + ViewerPortalNames::session + "',member='Closed'";
    subscription_ =
        bus_->subscribe(rule, ifAlive(weak_from_this(), &ViewerPortalSession::closedHasCome));
}

void ViewerPortalSession::closedHasCome(sd_bus_message* signal) {
    if (ViewerBusLibrary::loaded().path(signal) != handle_) {
        return;
    }
    if (!isOpen_) {
        wasClosedEarly_ = true;
        request_->giveUpAfter(outcomeAfterClosed, Access::declined);
        return;
    }
    end_ = Access::declined;
    if (const auto ended = std::exchange(ended_, nullptr)) {
        ended();
    }
}

ViewerTask<ViewerPortalResponse> ViewerPortalSession::create() {
    beginRequest();
    ViewerBusMessage call = makeCall("CreateSession");
    if (call) {
        const Options options(call);
        options.text("handle_token", request_->token());
        options.text("session_handle_token", "viewer" + makeRandomToken());
    }
    co_return co_await outcomeOf(std::move(call), ViewerScreenCapture::answerLimit);
}

ViewerTask<ViewerPortalResponse> ViewerPortalSession::selectSources(std::string token,
                                                                    bool canHideCursor,
                                                                    Limit limit) {
    beginRequest();
    ViewerBusMessage call = makeCall("SelectSources");
    if (call) {
        const Options options(call);
        options.text("handle_token", request_->token());
        options.number("types", ViewerGrantedStream::monitor);
        options.truth("multiple", true);
        options.number("persist_mode", persistWhileRunning);
        if (canHideCursor) {
            options.number("cursor_mode", hiddenCursor);
        }
        if (!token.empty()) {
            options.text("restore_token", token);
            hasSentToken_ = true;
        }
    }
    // Some desktops ask here already.
    co_return co_await outcomeOf(std::move(call), limit);
}

ViewerTask<ViewerPortalResponse> ViewerPortalSession::start(Limit limit) {
    beginRequest();
    ViewerBusMessage call = makeCall("Start");
    if (call) {
        append(call, "s", "");  // no window of this program stands behind the dialog
        const Options options(call);
        options.text("handle_token", request_->token());
    }
    co_return co_await outcomeOf(std::move(call), limit);
}

void ViewerPortalSession::beginRequest() {
    request_ = ViewerPortalRequest::make(bus_, executor_, clock_);
}

ViewerTask<ViewerPortalResponse> ViewerPortalSession::outcomeOf(ViewerBusMessage call,
                                                                Limit limit) {
    const auto request = request_;
    co_return co_await request->outcome(std::move(call), limit);
}

ViewerBusMessage ViewerPortalSession::makeCall(const char* member) const {
    ViewerBusMessage call = bus_->makeCall(ViewerPortalNames::service, ViewerPortalNames::object,
                                           ViewerPortalNames::screenCast, member);
    if (call && !handle_.empty()) {
        append(call, "o", handle_.c_str());
    }
    return call;
}

void ViewerPortalSession::close(Access reason) {
    if (end_) {
        return;
    }
    end_ = reason;
    ended_ = nullptr;
    subscription_.reset();
    request_->close(reason);
    sendClose();
}

void ViewerPortalSession::sendClose() {
    if (!handle_.empty()) {
        bus_->send(bus_->makeCall(ViewerPortalNames::service, handle_.c_str(),
                                  ViewerPortalNames::session, "Close"));
    }
}

ViewerTask<void> ViewerPortalSession::openRemote(std::shared_ptr<ViewerPortalSession> self,
                                                 Remote remote) {
    ViewerBusMessage call = self->makeCall("OpenPipeWireRemote");
    if (call) {
        const Options options(call);
    }
    const ViewerBusReply reply =
        co_await self->bus_->call(std::move(call), ViewerScreenCapture::answerLimit);
    remote(self->end_ ? -1 : descriptorIn(reply));
}

}  // namespace velmora
