#pragma once

namespace velmora {

/// Gives the test process, and every host it starts, a loopback network of its own, so that the
/// host's one fixed port is free whatever else runs on the machine. Where the system does not allow
/// that, waits until no other test process uses the port. Made once, before the first test, while
/// the process has one thread; holds until the process ends.
class PrivateNetwork final {
  public:
    PrivateNetwork();
};

}  // namespace velmora
