#include "tests/support/bus/ScriptedPortal.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr const char* name = "org.freedesktop.portal.Desktop";
constexpr const char* object = "/org/freedesktop/portal/desktop";
constexpr const char* requestInterface = "org.freedesktop.portal.Request";

void check(int result) {
    viewerCheck(result >= 0, "a scripted portal says what it is to say");
}

void openDictionary(sd_bus_message* message) {
    check(sd_bus_message_open_container(message, 'a', "{sv}"));
}

void closeContainer(sd_bus_message* message) {
    check(sd_bus_message_close_container(message));
}

std::string readText(sd_bus_message* message, const char* signature) {
    const char* text = nullptr;
    std::uint32_t number = 0;
    int truth = 0;
    const std::string_view type(signature);
    if (type == "s") {
        check(sd_bus_message_read(message, "s", &text));
        return text;
    }
    if (type == "b") {
        check(sd_bus_message_read(message, "b", &truth));
        return truth != 0 ? "true" : "false";
    }
    viewerCheck(type == "u", "the options of a call are of known types");
    check(sd_bus_message_read(message, "u", &number));
    return std::to_string(number);
}

std::string objectOf(const std::string& client, const char* kind, const std::string& token) {
    std::string sender = client.substr(1);
    std::replace(sender.begin(), sender.end(), '.', '_');
    return std::string(object) + "/" + kind + "/" + sender + "/" + token;
}

/// One stream, of properties that come in groups of a name, a type and what goes with it.
class Stream final {
  public:
    Stream(sd_bus_message* message, std::uint32_t node) : message_(message) {
        check(sd_bus_message_open_container(message_, 'r', "ua{sv}"));
        check(sd_bus_message_append(message_, "u", node));
        openDictionary(message_);
    }
    ~Stream() {
        closeContainer(message_);
        closeContainer(message_);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    const Stream& pair(const char* key, std::int32_t first, std::int32_t second) const {
        check(sd_bus_message_append(message_, "{sv}", key, "(ii)", first, second));
        return *this;
    }
    const Stream& number(const char* key, std::uint32_t value) const {
        check(sd_bus_message_append(message_, "{sv}", key, "u", value));
        return *this;
    }
    const Stream& serial(std::uint64_t value) const {
        check(sd_bus_message_append(message_, "{sv}", "pipewire-serial", "t", value));
        return *this;
    }
    const Stream& text(const char* key, const char* value) const {
        check(sd_bus_message_append(message_, "{sv}", key, "s", value));
        return *this;
    }

  private:
    sd_bus_message* const message_;
};

/// The entry "streams" of the results, with the streams that `write` writes.
ScriptedPortal::Writer streamsOf(std::function<void(sd_bus_message*)> write) {
    return [write = std::move(write)](sd_bus_message* message) {
        check(sd_bus_message_open_container(message, 'e', "sv"));
        check(sd_bus_message_append(message, "s", "streams"));
        check(sd_bus_message_open_container(message, 'v', "a(ua{sv})"));
        check(sd_bus_message_open_container(message, 'a', "(ua{sv})"));
        write(message);
        closeContainer(message);
        closeContainer(message);
        closeContainer(message);
    };
}

}  // namespace

ScriptedPortal::Writer ScriptedPortal::streamsOfGnome() {
    return streamsOf([](sd_bus_message* message) {
        Stream(message, 51)
            .text("id", "1")
            .pair("position", 1920, 0)
            .pair("size", 1280, 720)
            .number("source_type", 1);
        Stream(message, 47)
            .text("id", "0")
            .text("mapping_id", "region")
            .pair("position", 0, 0)
            .pair("size", 1920, 1080)
            .number("source_type", 1)
            .serial(99);
    });
}

ScriptedPortal::Writer ScriptedPortal::streamsOfKde() {
    return streamsOf([](sd_bus_message* message) {
        Stream(message, 60).number("source_type", 1).pair("size", 960, 540);
    });
}

ScriptedPortal::Writer ScriptedPortal::streamsOfWlroots() {
    return streamsOf([](sd_bus_message* message) {
        Stream(message, 33).pair("position", 0, 0).pair("size", 1280, 720).number("source_type", 2);
    });
}

ScriptedPortal::ScriptedPortal(const PrivateBus& bus)
    : peer_(bus.address(), {name}, [this](sd_bus_message* call) { callHasCome(call); }) {}

void ScriptedPortal::callHasCome(sd_bus_message* call) {
    const std::string member = sd_bus_message_get_member(call);
    client = sd_bus_message_get_sender(call);
    if (member == "Close") {
        closed.push_back(sd_bus_message_get_path(call));
        return;
    }
    calls.push_back(member);
    if (mute.count(member) != 0) {
        return;
    }
    if (const auto error = errors.find(member); error != errors.end()) {
        check(sd_bus_reply_method_errorf(call, error->second.c_str(), "as the test says"));
    } else if (member == "Register") {
        answerRegister(call);
    } else if (member == "GetAll") {
        answerProperties(call);
    } else if (member == "OpenPipeWireRemote") {
        answerRemote(call);
    } else {
        answerRequest(member, call);
    }
}

void ScriptedPortal::answerRegister(sd_bus_message* call) {
    const char* id = nullptr;
    check(sd_bus_message_read(call, "s", &id));
    applicationId = id;
    check(sd_bus_reply_method_return(call, ""));
}

void ScriptedPortal::answerProperties(sd_bus_message* call) const {
    const char* interface = nullptr;
    check(sd_bus_message_read(call, "s", &interface));
    if (std::string_view(interface) != "org.freedesktop.portal.ScreenCast") {
        check(sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "no such interface"));
        return;
    }
    sd_bus_message* reply = nullptr;
    check(sd_bus_message_new_method_return(call, &reply));
    openDictionary(reply);
    check(sd_bus_message_append(reply, "{sv}", "version", "u", 4));
    if (sourceTypes) {
        check(sd_bus_message_append(reply, "{sv}", "AvailableSourceTypes", "u", *sourceTypes));
    }
    if (cursorModes) {
        check(sd_bus_message_append(reply, "{sv}", "AvailableCursorModes", "u", *cursorModes));
    }
    closeContainer(reply);
    check(sd_bus_send(peer_.bus(), reply, nullptr));
    sd_bus_message_unref(reply);
}

void ScriptedPortal::answerRequest(const std::string& member, sd_bus_message* call) {
    if (member != "CreateSession") {
        check(sd_bus_message_skip(call, "o"));
    }
    if (member == "Start") {
        check(sd_bus_message_skip(call, "s"));
    }
    readOptions(member, call);
    const std::string handleToken = options[member]["handle_token"];
    request = usesOldPaths ? objectOf(client, "request", "t" + std::to_string(calls.size()))
                           : objectOf(client, "request", handleToken);
    if (member == "CreateSession") {
        session = objectOf(client, "session", options[member]["session_handle_token"]);
    }
    if (held.count(member) != 0) {
        heldCall_.reset(sd_bus_message_ref(call));
        return;
    }
    const bool isDecided = undecided.count(member) == 0;
    if (tellsOutcomeFirst && isDecided) {
        respond(member);
    }
    check(sd_bus_reply_method_return(call, "o", request.c_str()));
    if (!tellsOutcomeFirst && isDecided) {
        respond(member);
    }
}

void ScriptedPortal::answerHeld() {
    check(sd_bus_reply_method_return(heldCall_.get(), "o", request.c_str()));
    heldCall_.reset();
}

void ScriptedPortal::readOptions(const std::string& member, sd_bus_message* call) {
    auto& read = options[member];
    read.clear();
    check(sd_bus_message_enter_container(call, 'a', "{sv}"));
    while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
        const char* key = nullptr;
        const char* signature = nullptr;
        check(sd_bus_message_read(call, "s", &key));
        check(sd_bus_message_peek_type(call, nullptr, &signature));
        check(sd_bus_message_enter_container(call, 'v', signature));
        read[key] = readText(call, signature);
        check(sd_bus_message_exit_container(call));
        check(sd_bus_message_exit_container(call));
    }
    check(sd_bus_message_exit_container(call));
}

void ScriptedPortal::respond(const std::string& member) {
    const auto outcome = outcomes.find(member);
    const std::uint32_t code = outcome == outcomes.end() ? granted : outcome->second;
    const auto response = responses.find(member);
    if (response != responses.end()) {
        peer_.emit(client, request, requestInterface, "Response", response->second);
        return;
    }
    tellOutcome(peer_, code, [&](sd_bus_message* signal) {
        if (code == granted) {
            writeResults(member, signal);
        }
    });
}

void ScriptedPortal::writeResults(const std::string& member, sd_bus_message* signal) const {
    if (member == "CreateSession") {
        const std::string handle = sessionHandle.value_or(session);
        check(sd_bus_message_append(signal, "{sv}", "session_handle", "s", handle.c_str()));
    }
    if (member == "Start") {
        streams(signal);
        if (!token.empty()) {
            check(sd_bus_message_append(signal, "{sv}", "persist_mode", "u", 1));
            check(sd_bus_message_append(signal, "{sv}", "restore_token", "s", token.c_str()));
        }
    }
}

void ScriptedPortal::tellOutcome(BusPeer& sender, std::uint32_t outcome, const Writer& results) {
    sender.emit(client, request, requestInterface, "Response", [&](sd_bus_message* signal) {
        check(sd_bus_message_append(signal, "u", outcome));
        openDictionary(signal);
        if (results) {
            results(signal);
        }
        closeContainer(signal);
    });
}

void ScriptedPortal::decide(const std::string& call, std::uint32_t outcome) {
    outcomes[call] = outcome;
    respond(call);
}

void ScriptedPortal::answerRemote(sd_bus_message* call) const {
    viewerCheck(sd_bus_message_has_signature(call, "oa{sv}") > 0, "a call has its arguments");
    std::array<int, 2> ends{-1, -1};
    check(::pipe(ends.data()));
    const auto length = static_cast<ssize_t>(std::strlen(greeting));
    viewerCheck(::write(ends[1], greeting, std::strlen(greeting)) == length, "a pipe takes a word");
    check(sd_bus_reply_method_return(call, "h", ends[0]));
    ::close(ends[0]);
    ::close(ends[1]);
}

void ScriptedPortal::closeSession() {
    peer_.emit(client, session, "org.freedesktop.portal.Session", "Closed",
               [](sd_bus_message* signal) {
                   openDictionary(signal);
                   closeContainer(signal);
               });
}

void ScriptedPortal::leave() {
    peer_.release(name);
}

void ScriptedPortal::comeBack() {
    peer_.acquire(name);
}

void ScriptedPortal::ping() {
    sd_bus_message* reply = nullptr;
    check(sd_bus_call_method(peer_.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", "GetId", nullptr, &reply, ""));
    sd_bus_message_unref(reply);
}

}  // namespace velmora
