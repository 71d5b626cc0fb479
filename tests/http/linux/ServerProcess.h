#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace velmora {

/// A child process that runs a server until it is dropped, and tells its parent the port and then
/// one byte for each thing that the test waits for.
class ServerProcess final {
  public:
    /// The child's way to its parent.
    class Parent final {
      public:
        explicit Parent(int descriptor) : descriptor_(descriptor) {}
        void tellPort(std::uint16_t port) const;
        void tellEvent() const;

      private:
        int descriptor_;
    };

    /// Runs `serve` in the child, which ends when that returns or the parent drops it.
    explicit ServerProcess(const std::function<void(const Parent&)>& serve);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// Waits for the port; 0 when the child ends without one.
    std::uint16_t readPort() const;
    /// Waits for that many events. False when the child ends before.
    bool readEvents(std::size_t count) const;
    /// How long the child has kept a processor busy so far.
    std::chrono::nanoseconds processorTime() const;

  private:
    pid_t child_ = -1;
    int descriptor_ = -1;
};

/// Limits how many descriptors this process may have.
bool limitDescriptors(std::size_t count);

}  // namespace velmora
