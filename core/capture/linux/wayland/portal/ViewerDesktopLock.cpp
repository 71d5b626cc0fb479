#include "core/capture/linux/wayland/portal/ViewerDesktopLock.h"

#include <array>
#include <string_view>
#include <utility>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/login/ViewerLoginSession.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

using Reply = ViewerBusReply;
using Limit = ViewerBusConnection::Duration;

/// The interface is called as the service is.
struct ScreenSaver final {
    const char* service;
    const char* object;
};

constexpr std::array<ScreenSaver, 2> screenSavers{{
    {"org.gnome.ScreenSaver", "/org/gnome/ScreenSaver"},
    {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver"},
}};
constexpr const char* lockedHint = "LockedHint";
constexpr Limit callLimit = ViewerScreenCapture::answerLimit;

/// Nothing where there is no connection any more.
ViewerBusMessage makeCall(const ViewerBusConnection& bus, const char* service, const char* object,
                          const char* interface, const char* member) {
    ViewerBusMessage call = bus.makeCall(service, object, interface, member);
    if (call) {
        ViewerBusLibrary::loaded().setAutoStart(call.get(), 0);
    }
    return call;
}

/// The truth that an answer holds, as `types` say where; nothing where it holds none.
std::optional<bool> truthIn(const Reply& reply, const char* types) {
    int value = 0;
    const bool isRead =
        reply.kind == Reply::Kind::answered &&
        (std::string_view(types) == "b"
             ? ViewerBusLibrary::loaded().read(reply.message.get(), "b", &value)
             : ViewerBusLibrary::loaded().read(reply.message.get(), "v", "b", &value)) > 0;
    return isRead ? std::optional(value != 0) : std::nullopt;
}

std::optional<ViewerSessionLock::State> stateOf(const Reply& reply, const char* types) {
    using State = ViewerSessionLock::State;
    // Who ends during the call is not known to have unlocked.
    if (reply.kind == Reply::Kind::silent || reply.error == SD_BUS_ERROR_NO_REPLY) {
        return State::unknown;
    }
    const std::optional<bool> isLocked = truthIn(reply, types);
    if (!isLocked) {
        return std::nullopt;
    }
    return *isLocked ? State::locked : State::unlocked;
}

std::string signalRule(const std::string& service, const std::string& interface,
                       const std::string& member) {
    return "type='signal',sender='" + service + "',interface='" + interface + "',member='" +
           member + "'";
}

}  // namespace

ViewerDesktopLock::ViewerDesktopLock(std::shared_ptr<ViewerLazyBus> sessionBus,
                                     std::shared_ptr<ViewerLazyBus> systemBus,
                                     ViewerExecutor executor)
    : sessionBus_(std::move(sessionBus)),
      systemBus_(std::move(systemBus)),
      executor_(std::move(executor)) {}

void ViewerDesktopLock::watch(std::function<void(bool isLocked)> changed) {
    changed_ = std::move(changed);
    if (const Bus bus = sessionBus_->connection()) {
        for (const ScreenSaver& saver : screenSavers) {
            subscribe(bus, signalRule(saver.service, saver.service, "ActiveChanged"),
                      [this](sd_bus_message* signal) {
                          int isActive = 0;
                          if (ViewerBusLibrary::loaded().read(signal, "b", &isActive) > 0) {
                              tell(isActive != 0);
                          }
                      });
        }
    }
    // Where there is no screen saver, this finds the login manager's session and its notices.
    ask([](State) {});
}

void ViewerDesktopLock::subscribe(const Bus& bus, const std::string& rule,
                                  ViewerBusConnection::Receiver receiver) {
    subscriptions_.push_back(bus->subscribe(
        rule, ifAlive(weak_from_this(),
                      [receive = std::move(receiver)](ViewerDesktopLock&, sd_bus_message* signal) {
                          receive(signal);
                      })));
}

void ViewerDesktopLock::tell(bool isLocked) {
    if (changed_) {
        const auto changed = changed_;
        changed(isLocked);
    }
}

void ViewerDesktopLock::ask(std::function<void(State)> answer) {
    (void)startTask(executor_, answerWith(shared_from_this(), std::move(answer)));
}

ViewerTask<void> ViewerDesktopLock::answerWith(std::shared_ptr<ViewerDesktopLock> self,
                                               std::function<void(State)> answer) {
    const State state = co_await self->look();
    if (!self->hasEnded_) {
        answer(state);
    }
}

ViewerTask<ViewerSessionLock::State> ViewerDesktopLock::look() {
    for (const ScreenSaver& saver : screenSavers) {
        const std::string service = saver.service;
        const std::string object = saver.object;
        const std::optional<State> state = co_await askScreenSaver(service, object);
        if (state) {
            co_return *state;
        }
    }
    const std::optional<State> state = co_await askLoginManager();
    co_return state.value_or(State::unlocked);
}

ViewerTask<std::optional<ViewerSessionLock::State>> ViewerDesktopLock::askScreenSaver(
    std::string service, std::string object) {
    const Bus bus = hasEnded_ ? nullptr : sessionBus_->connection();
    if (!bus) {
        co_return std::nullopt;
    }
    ViewerBusMessage call =
        makeCall(*bus, service.c_str(), object.c_str(), service.c_str(), "GetActive");
    const Reply reply = co_await bus->call(std::move(call), callLimit);
    co_return stateOf(reply, "b");
}

ViewerTask<std::optional<ViewerSessionLock::State>> ViewerDesktopLock::askLoginManager() {
    const Bus bus = hasEnded_ ? nullptr : systemBus_->connection();
    if (!bus) {
        co_return std::nullopt;
    }
    const std::string session = co_await loginSession(bus);
    if (session.empty()) {
        co_return std::nullopt;
    }
    const std::string name = lockedHint;
    const Reply reply = co_await ViewerLoginSession::property(bus, session, name);
    co_return stateOf(reply, "v");
}

ViewerTask<std::string> ViewerDesktopLock::loginSession(Bus bus) {
    if (!loginSession_.empty()) {
        co_return loginSession_;
    }
    const Reply reply = co_await ViewerLoginSession::find(bus);
    const std::string object = ViewerLoginSession::objectIn(reply);
    if (!object.empty() && loginSession_.empty()) {
        loginSession_ = object;
        subscribe(bus, ViewerLoginSession::changesOf(loginSession_),
                  [this](sd_bus_message* signal) { loginSessionHasChanged(signal); });
    }
    co_return loginSession_;
}

void ViewerDesktopLock::loginSessionHasChanged(sd_bus_message* signal) {
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    const char* interface = nullptr;
    if (library.read(signal, "s", &interface) <= 0 ||
        std::string_view(interface) != ViewerLoginSession::sessionInterface ||
        library.enterContainer(signal, SD_BUS_TYPE_ARRAY, "{sv}") < 0) {
        return;
    }
    while (library.enterContainer(signal, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char* name = nullptr;
        int isLocked = 0;
        if (library.read(signal, "s", &name) <= 0) {
            return;
        }
        if (std::string_view(name) == lockedHint && library.read(signal, "v", "b", &isLocked) > 0) {
            tell(isLocked != 0);
            return;
        }
        if (library.skip(signal, "v") < 0 || library.exitContainer(signal) < 0) {
            return;
        }
    }
}

void ViewerDesktopLock::end() {
    hasEnded_ = true;
    changed_ = nullptr;
    systemBus_->close();  // the other one is not used here alone
}

}  // namespace velmora
