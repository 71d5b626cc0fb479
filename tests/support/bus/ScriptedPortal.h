#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/bus/BusPeer.h"
#include "tests/support/bus/PrivateBus.h"

namespace velmora {

/// A desktop's portal with a person before it, on a test's bus: answers every call as it should be,
/// but for what a test says beforehand. Calls are known by their names, such as "Start". One
/// thread.
class ScriptedPortal final {
  public:
    using Writer = std::function<void(sd_bus_message*)>;

    static constexpr std::uint32_t granted = 0;
    static constexpr std::uint32_t cancelled = 1;
    static constexpr std::uint32_t failed = 2;
    /// The descriptor that stands for PipeWire's says this.
    static constexpr const char* greeting = "pipewire";

    explicit ScriptedPortal(const PrivateBus& bus);

    /// Answers what has arrived. Whether there was anything.
    bool process() { return peer_.process(); }
    /// Tells an undecided outcome: of "Start", what the person answers the dialog.
    void decide(const std::string& call, std::uint32_t outcome);
    void answerDialog(std::uint32_t outcome) { decide("Start", outcome); }
    /// Answers the request that was held back.
    void answerHeld();
    /// Ends the session that was made last.
    void closeSession();
    /// Tells an outcome of the request that was made last, as whoever `sender` is.
    void tellOutcome(BusPeer& sender, std::uint32_t outcome, const Writer& results);
    /// Leaves the bus's name to others.
    void leave();
    void comeBack();
    /// Lets everything that is on its way arrive.
    void ping();

    /// What a real portal of that kind tells of its streams.
    static Writer streamsOfGnome();
    static Writer streamsOfKde();
    static Writer streamsOfWlroots();

    /// Calls that are never answered, answered with an error of that name, and answered without an
    /// outcome, or with another than `granted`.
    std::set<std::string> mute;
    std::map<std::string, std::string> errors;
    std::set<std::string> undecided;
    std::map<std::string, std::uint32_t> outcomes;
    /// Requests whose answers wait until a test lets them go; their outcomes are undecided.
    std::set<std::string> held;
    /// Takes the place of everything that a Response says.
    std::map<std::string, Writer> responses;
    std::optional<std::uint32_t> sourceTypes = 7;
    std::optional<std::uint32_t> cursorModes = 7;
    std::optional<std::string> sessionHandle;
    bool usesOldPaths = false;
    bool tellsOutcomeFirst = false;
    /// The token that goes with a grant; empty for none.
    std::string token = "token";
    Writer streams = streamsOfGnome();

    /// Every call so far, in order.
    std::vector<std::string> calls;
    /// The options of the last call of each name, as text.
    std::map<std::string, std::map<std::string, std::string>> options;
    /// Requests and sessions that were closed from outside.
    std::vector<std::string> closed;
    std::string applicationId;
    std::string client;
    /// The objects of the last request and of the last session.
    std::string request;
    std::string session;

  private:
    void callHasCome(sd_bus_message* call);
    struct Release final {
        void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
    };

    void answerRegister(sd_bus_message* call);
    void answerProperties(sd_bus_message* call) const;
    void answerRequest(const std::string& name, sd_bus_message* call);
    void answerRemote(sd_bus_message* call) const;
    void readOptions(const std::string& name, sd_bus_message* call);
    void respond(const std::string& name);
    void writeResults(const std::string& name, sd_bus_message* signal) const;

    BusPeer peer_;
    /// The call that was held back last.
    std::unique_ptr<sd_bus_message, Release> heldCall_;
};

}  // namespace velmora
