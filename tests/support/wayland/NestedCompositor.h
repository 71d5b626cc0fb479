#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/desktop/HeadlessCompositor.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/wayland/SwayControl.h"

namespace velmora {

/// A real Wayland compositor whose outputs are windows of another one, WL-1 and so on: closing a
/// window is unplugging an output, which the compositor without a screen cannot have. What cannot
/// be done stops the test's process with the reason. One thread.
class NestedCompositor final {
  public:
    explicit NestedCompositor(int outputs);
    ~NestedCompositor();
    NestedCompositor(const NestedCompositor&) = delete;
    NestedCompositor& operator=(const NestedCompositor&) = delete;

    /// The path of its socket.
    const std::string& displayName() const { return displayName_; }
    /// Its process, as of an ordinary user.
    pid_t process() const { return process_; }
    void run(const std::string& command) const { SwayControl(folder_.path()).run(command); }
    void unplug(const std::string& output) const;

  private:
    const HeadlessCompositor outer_;
    const SwayControl outerControl_;
    const TemporaryFolder folder_;
    std::string displayName_;
    pid_t process_ = 0;
};

}  // namespace velmora
