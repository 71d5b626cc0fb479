#pragma once

#include <termios.h>

namespace velmora {

/// Makes a terminal a whole screen of the program's: keys come at once and unseen, the cursor is
/// hidden, and what stood there before comes back at the end. On one thread.
class ViewerTerminalMode final {
  public:
    /// A terminal's descriptor, which does not block, and stays open. Throws std::system_error when
    /// it is none.
    explicit ViewerTerminalMode(int descriptor);
    ~ViewerTerminalMode() { leave(); }
    ViewerTerminalMode(const ViewerTerminalMode&) = delete;
    ViewerTerminalMode& operator=(const ViewerTerminalMode&) = delete;

    /// Also anew, after another program has had the terminal; nothing while one has it.
    void enter();
    bool isEntered() const { return isEntered_; }
    /// What the terminal has not taken yet is lost if it takes nothing now.
    void leave();

  private:
    bool isForeground() const;

    const int descriptor_;
    termios before_{};
    bool isEntered_ = false;
};

}  // namespace velmora
