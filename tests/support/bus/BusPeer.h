#pragma once

#include <systemd/sd-bus.h>

#include <functional>
#include <string>
#include <vector>

namespace velmora {

/// Somebody on a bus who answers calls as a test says, on the thread that lets it. What cannot be
/// done stops the test's process. One thread.
class BusPeer final {
  public:
    /// Receives each call; what it does not answer is never answered.
    using Receiver = std::function<void(sd_bus_message*)>;

    /// Returns when it is on the bus and has the names.
    BusPeer(const std::string& address, const std::vector<std::string>& names, Receiver receiver);
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    /// Answers what has arrived. Whether there was anything.
    bool process();
    void acquire(const std::string& name);
    void release(const std::string& name);
    /// Sends a signal that `write` gives its arguments, to one receiver or, with an empty name, to
    /// everybody.
    void emit(const std::string& receiver, const std::string& path, const std::string& interface,
              const std::string& member, const std::function<void(sd_bus_message*)>& write);
    sd_bus* bus() const { return bus_; }

  private:
    static int callHasCome(sd_bus_message* call, void* peer, sd_bus_error* error);

    const Receiver receiver_;
    sd_bus* bus_ = nullptr;
};

}  // namespace velmora
