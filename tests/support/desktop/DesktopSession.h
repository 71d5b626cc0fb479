#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/desktop/SessionBus.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// The processes that make up a desktop of a test's own, in a session of its own: a bus, a folder
/// for its sockets, a home. A member is called by the name that it was started with. The test's
/// process becomes an ordinary user. Members end with this object, the last one first, or with the
/// thread that made it; what they wrote is shown when the test has failed. What cannot be done
/// stops the test's process with the reason. One thread.
class DesktopSession final {
  public:
    using Environment = std::map<std::string, std::string>;

    DesktopSession();
    ~DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    const SessionBus& bus() const { return bus_; }
    /// Ends it at once and without its help (SIGKILL).
    void killBus() { bus_.kill(); }
    /// Where its sockets are.
    const std::filesystem::path& runtimeFolder() const { return runtimeFolder_; }
    /// Where its programs look for their settings.
    std::filesystem::path configurationFolder() const;

    /// The whole environment of a program of this session.
    const Environment& environment() const { return environment_; }
    /// For what starts from now on.
    void set(const std::string& name, const std::string& value) { environment_[name] = value; }

    /// Starts the members "pipewire" and "wireplumber".
    void startPipeWire();
    /// Starts the member "portal", whose backends are there, and waits until it offers screens.
    void startPortal();
    /// Kills the member "portal"; returns when the bus has noticed.
    void killPortal();
    /// Starts a member, or starts it again after its end, the same way unless it is said anew.
    void start(const std::string& member, const std::vector<std::string>& arguments,
               const Environment& more = {});
    void restart(const std::string& member);
    /// The exit status of a member that ends by itself.
    int awaitEnd(const std::string& member);
    /// A name for another member of a kind.
    std::string unusedName(const std::string& kind) const;
    pid_t processOf(const std::string& member) const;
    /// Ends a member at once and without its help (SIGKILL); returns when it is gone.
    void kill(const std::string& member);
    /// Stops a member from running until `thaw()`; returns when it has stopped.
    void freeze(const std::string& member);
    void thaw(const std::string& member);

    /// Waits for a member to own a name, to make a file, or to be ready otherwise.
    void awaitOwner(const std::string& name);
    void awaitFile(const std::filesystem::path& file);
    void await(const std::string& what, const std::function<bool()>& isReady);
    /// Shows what the members wrote and stops the process, unless it is so.
    void expect(bool isSo, const std::string& what) const;

  private:
    struct Member final {
        std::vector<std::string> arguments;
        Environment more;
        pid_t process = 0;
    };

    void launch(const std::string& name, Member& member);
    void end(Member& member, int signal);
    void showLogs() const;

    const TemporaryFolder folder_;
    const std::filesystem::path runtimeFolder_;
    SessionBus bus_;
    Environment environment_;
    std::map<std::string, Member> members_;
    /// In the order of their first start.
    std::vector<std::string> order_;
};

}  // namespace velmora
