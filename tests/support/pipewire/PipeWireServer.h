#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// A real PipeWire with a session manager that links streams to what they ask for, of the test's
/// own, beside whatever else runs. It runs as an ordinary user and ends with this object. What
/// cannot be done stops the test's process with the reason. One thread.
class PipeWireServer final {
  public:
    PipeWireServer();
    ~PipeWireServer();
    PipeWireServer(const PipeWireServer&) = delete;
    PipeWireServer& operator=(const PipeWireServer&) = delete;

    /// A new connection of the kind that a portal hands out; the caller's to close.
    int connect() const;

    /// Ends it at once and without its help (SIGKILL); returns when it is gone.
    void kill();
    /// Stops it from answering, and lets it go on.
    void hang();
    void resume();

    /// The same for the session manager alone: nobody links streams any more.
    void killSessionManager();

  private:
    pid_t start(const std::vector<std::string>& command, const std::string& log) const;
    /// -1 where nobody listens.
    int tryToConnect() const;
    bool isListening() const;
    /// Whether the session manager has told PipeWire of itself.
    bool isManaged() const;

    const TemporaryFolder folder_;
    pid_t server_ = 0;
    pid_t manager_ = 0;
};

}  // namespace velmora
