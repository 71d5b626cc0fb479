#include "core/capture/linux/login/ViewerLoginSession.h"

#include <utility>

#include "core/capture/ViewerScreenCapture.h"

namespace velmora {

namespace {

using Bus = ViewerLoginSession::Bus;

constexpr const char* managerObject = "/org/freedesktop/login1";
constexpr const char* managerInterface = "org.freedesktop.login1.Manager";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

/// Nothing where there is no connection any more.
ViewerBusMessage makeCall(const Bus& bus, const char* object, const char* interface,
                          const char* member) {
    ViewerBusMessage call = bus->makeCall(ViewerLoginSession::service, object, interface, member);
    if (call) {
        ViewerBusLibrary::loaded().setAutoStart(call.get(), 0);
    }
    return call;
}

std::string signalRule(const char* interface) {
    return std::string("type='signal',sender='") + ViewerLoginSession::service + "',interface='" +
           interface + "'";
}

}  // namespace

ViewerTask<ViewerBusReply> ViewerLoginSession::find(Bus bus) {
    ViewerBusMessage call = makeCall(bus, managerObject, managerInterface, "GetSession");
    if (call) {
        (void)ViewerBusLibrary::loaded().append(call.get(), "s", "auto");
    }
    co_return co_await bus->call(std::move(call), ViewerScreenCapture::answerLimit);
}

std::string ViewerLoginSession::objectIn(const ViewerBusReply& reply) {
    const char* object = nullptr;
    const bool isNamed = reply.kind == ViewerBusReply::Kind::answered &&
                         ViewerBusLibrary::loaded().read(reply.message.get(), "o", &object) > 0;
    return isNamed ? object : "";
}

ViewerTask<ViewerBusReply> ViewerLoginSession::property(Bus bus, std::string object,
                                                        std::string name) {
    ViewerBusMessage call = makeCall(bus, object.c_str(), propertiesInterface, "Get");
    if (call) {
        (void)ViewerBusLibrary::loaded().append(call.get(), "ss", sessionInterface, name.c_str());
    }
    co_return co_await bus->call(std::move(call), ViewerScreenCapture::answerLimit);
}

std::string ViewerLoginSession::announcements() {
    return signalRule(managerInterface);
}

std::string ViewerLoginSession::changesOf(const std::string& object) {
    return signalRule(propertiesInterface) + ",member='PropertiesChanged',path='" + object + "'";
}

}  // namespace velmora
