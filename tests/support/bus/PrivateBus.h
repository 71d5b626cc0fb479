#pragma once

#include <sys/types.h>

#include <map>
#include <string>

#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// A real message bus of a test's own, on which nobody is but whom the test brings along. It ends
/// with this object or the thread that made it. What cannot be done stops the test's process.
class PrivateBus final {
  public:
    /// A service's name, and the command that the bus starts when somebody calls for it.
    using Services = std::map<std::string, std::string>;

    /// Returns when the bus listens.
    explicit PrivateBus(const Services& services = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return address_; }
    /// Ends the bus, as by a crash.
    void kill();
    /// Lets the bus do nothing from now on, for ever.
    void freeze();

  private:
    const TemporaryFolder folder_;
    std::string address_;
    pid_t process_ = 0;
};

}  // namespace velmora
