#pragma once

#include <systemd/sd-bus.h>

#include <string>
#include <vector>

#include "tests/support/bus/BusPeer.h"

namespace velmora {

/// A login manager on a test's bus, in the place of the system's: whoever asks belongs to its one
/// session. What it announces of others is made up. One thread.
class ScriptedLoginManager final {
  public:
    static constexpr const char* name = "org.freedesktop.login1";
    static constexpr const char* session = "/org/freedesktop/login1/session/_32";
    static constexpr const char* otherSession = "/org/freedesktop/login1/session/_33";

    explicit ScriptedLoginManager(const std::string& busAddress);

    /// Answers what has arrived. Whether there was anything.
    bool process() { return peer_.process(); }
    /// The session is gone, and that is announced.
    void endSession();
    void announceNewSession() { announce("SessionNew", otherSession); }
    void announceRemovedSession() { announce("SessionRemoved", otherSession); }
    /// Tells of some change of the session that says nothing about its end.
    void tellChange();

    /// The error with which the question for the session is answered; empty where there is one.
    std::string refusal;
    std::string state = "active";
    bool isRemote = false;
    bool isGone = false;
    /// Whether nothing is answered, or everything with what it should not be.
    bool isMute = false;
    bool talksNonsense = false;
    /// What was asked for so far: "GetSession" with its argument, and names of properties.
    std::vector<std::string> asked;

  private:
    void callHasCome(sd_bus_message* call);
    void answerProperty(sd_bus_message* call, const std::string& property) const;
    void announce(const std::string& signal, const std::string& object);

    BusPeer peer_;
};

}  // namespace velmora
