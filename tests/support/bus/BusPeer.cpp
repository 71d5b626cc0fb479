#include "tests/support/bus/BusPeer.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

BusPeer::BusPeer(const std::string& address, const std::vector<std::string>& names,
                 Receiver receiver)
    : receiver_(std::move(receiver)) {
    viewerCheck(sd_bus_new(&bus_) >= 0 && sd_bus_set_address(bus_, address.c_str()) >= 0 &&
                    sd_bus_set_bus_client(bus_, 1) >= 0 && sd_bus_start(bus_) >= 0 &&
                    sd_bus_add_filter(bus_, nullptr, &callHasCome, this) >= 0,
                "a peer of a test gets onto its bus");
    const char* unique = nullptr;
    viewerCheck(sd_bus_get_unique_name(bus_, &unique) >= 0, "a bus gives everybody a name");
    for (const std::string& name : names) {
        acquire(name);
    }
}

BusPeer::~BusPeer() {
    sd_bus_flush_close_unref(bus_);
}

int BusPeer::callHasCome(sd_bus_message* call, void* peer, sd_bus_error*) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(call, &type);
    const char* const interface = sd_bus_message_get_interface(call);
    // The bus has things to tell too.
    if (type != SD_BUS_MESSAGE_METHOD_CALL ||
        std::string_view(interface != nullptr ? interface : "") == "org.freedesktop.DBus.Peer") {
        return 0;
    }
    static_cast<BusPeer*>(peer)->receiver_(call);
    return 1;
}

bool BusPeer::process() {
    bool isBusy = false;
    while (sd_bus_process(bus_, nullptr) > 0) {
        isBusy = true;
    }
    return isBusy;
}

void BusPeer::acquire(const std::string& name) {
    viewerCheck(sd_bus_request_name(bus_, name.c_str(), 0) >= 0, "a name on the bus is free");
}

void BusPeer::release(const std::string& name) {
    viewerCheck(sd_bus_release_name(bus_, name.c_str()) >= 0, "a name on the bus is given back");
}

void BusPeer::emit(const std::string& receiver, const std::string& path,
                   const std::string& interface, const std::string& member,
                   const std::function<void(sd_bus_message*)>& write) {
    sd_bus_message* signal = nullptr;
    viewerCheck(sd_bus_message_new_signal(bus_, &signal, path.c_str(), interface.c_str(),
                                          member.c_str()) >= 0,
                "a signal can be made");
    if (write) {
        write(signal);
    }
    if (!receiver.empty()) {
        sd_bus_message_set_destination(signal, receiver.c_str());
    }
    viewerCheck(sd_bus_send(bus_, signal, nullptr) >= 0, "a signal can be sent");
    sd_bus_message_unref(signal);
}

}  // namespace velmora
