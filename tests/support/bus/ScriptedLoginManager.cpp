#include "tests/support/bus/ScriptedLoginManager.h"

#include <string_view>

namespace velmora {

ScriptedLoginManager::ScriptedLoginManager(const std::string& busAddress)
    : peer_(busAddress, {name}, [this](sd_bus_message* call) { callHasCome(call); }) {}

void ScriptedLoginManager::callHasCome(sd_bus_message* call) {
    const char* first = "";
    const char* second = "";
    const std::string_view member = sd_bus_message_get_member(call);
    if (member == "GetSession") {
        (void)sd_bus_message_read(call, "s", &first);
        asked.push_back("GetSession " + std::string(first));
    } else {
        (void)sd_bus_message_read(call, "ss", &first, &second);
        asked.emplace_back(second);
    }
    if (isMute) {
        return;
    }
    if (talksNonsense) {
        sd_bus_reply_method_return(call, "u", 5);
    } else if (member != "GetSession") {
        answerProperty(call, second);
    } else if (!refusal.empty()) {
        sd_bus_reply_method_errorf(call, refusal.c_str(), "no");
    } else {
        sd_bus_reply_method_return(call, "o", session);
    }
}

void ScriptedLoginManager::answerProperty(sd_bus_message* call, const std::string& property) const {
    if (isGone || std::string_view(sd_bus_message_get_path(call)) != session) {
        sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "no");
    } else if (property == "State") {
        sd_bus_reply_method_return(call, "v", "s", state.c_str());
    } else {
        sd_bus_reply_method_return(call, "v", "b", isRemote ? 1 : 0);
    }
}

void ScriptedLoginManager::endSession() {
    isGone = true;
    announce("SessionRemoved", session);
}

void ScriptedLoginManager::tellChange() {
    peer_.emit("", session, "org.freedesktop.DBus.Properties", "PropertiesChanged",
               [](sd_bus_message* signal) {
                   sd_bus_message_append(signal, "sa{sv}as", "org.freedesktop.login1.Session", 1,
                                         "Active", "b", 0, 0);
               });
}

void ScriptedLoginManager::announce(const std::string& signal, const std::string& object) {
    peer_.emit("", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", signal,
               [&](sd_bus_message* message) {
                   sd_bus_message_append(message, "so", object.substr(object.size() - 1).c_str(),
                                         object.c_str());
               });
}

}  // namespace velmora
