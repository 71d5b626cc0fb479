#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "tests/support/system/TemporaryFolder.h"

struct sd_bus;

namespace velmora {

/// A session bus of a test's own. It starts no program by itself but those that every desktop has
/// beside its portal: accessibility, documents and permissions. It ends with this object, and what
/// it started with it. What cannot be done stops the test's process. One thread.
class SessionBus final {
  public:
    SessionBus();
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// For DBUS_SESSION_BUS_ADDRESS.
    const std::string& address() const { return address_; }
    /// For the address of the system's bus: none is there.
    std::string noAddress() const;
    /// What it wrote, and what it started.
    std::filesystem::path logFile() const { return folder_.path() / "log"; }

    /// Ends it at once and without its help (SIGKILL); returns when it is gone. It has no owners to
    /// tell of any more.
    void kill();

    /// Waits until somebody owns the name; false when nobody does in time.
    bool awaitOwner(const std::string& name, std::chrono::seconds limit) const;
    /// Waits until nobody owns the name any more.
    bool awaitNoOwner(const std::string& name, std::chrono::seconds limit) const;
    /// Whether the object has a property of that name now.
    bool hasProperty(const std::string& owner, const std::string& object,
                     const std::string& interface, const std::string& property) const;

  private:
    bool awaitOwnership(const std::string& name, bool isOwned, std::chrono::seconds limit) const;

    const TemporaryFolder folder_;
    std::string address_;
    pid_t process_ = 0;
    sd_bus* connection_ = nullptr;
};

}  // namespace velmora
