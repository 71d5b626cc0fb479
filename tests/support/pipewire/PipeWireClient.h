#pragma once

#include <pipewire/pipewire.h>

#include <functional>
#include <string>
#include <vector>

namespace velmora {

/// A test's own connection to PipeWire with a thread for its loop, and what it sees of other
/// clients. What cannot be done stops the test's process with the reason. Any thread, one at a
/// time.
class PipeWireClient final {
  public:
    /// The descriptor is the client's from now on.
    explicit PipeWireClient(int descriptor);
    ~PipeWireClient();
    PipeWireClient(const PipeWireClient&) = delete;
    PipeWireClient& operator=(const PipeWireClient&) = delete;

    pw_core* core() const { return core_; }
    pw_thread_loop* loop() const { return loop_; }
    /// Runs something while the loop stands still, which is how PipeWire is called from outside.
    void locked(const std::function<void()>& action) const;

    /// Whether a client whose name begins like this is connected now.
    bool hasClient(const std::string& name);
    /// How many objects of a type (PW_TYPE_INTERFACE_…) there are now.
    std::size_t count(const std::string& type);

  private:
    struct Global final {
        std::string type;
        std::string clientName;
    };

    /// What there is now.
    std::vector<Global> look();

    pw_thread_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
};

}  // namespace velmora
