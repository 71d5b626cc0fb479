#include "viewerctl/ViewerTerminalMode.h"

#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace velmora {

namespace {

/// The alternate screen without a cursor (xterm's control sequences).
constexpr std::string_view begin = "\033[?1049h\033[?25l\033[2J";
/// First of all the end of a string and of an update that may have been cut off.
constexpr std::string_view end = "\033\\\033[?2026l\033[0m\033[?25h\033[?1049l";

/// A terminal that has not taken all before has its backlog thrown away, which makes room.
void write(int descriptor, std::string_view bytes) {
    bool isWritten = false;
    for (int attempt = 0; attempt < 2 && !isWritten; ++attempt) {
        isWritten =
            ::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        if (!isWritten) {
            (void)::tcflush(descriptor, TCOFLUSH);  // of a terminal that is gone
        }
    }
}

}  // namespace

ViewerTerminalMode::ViewerTerminalMode(int descriptor) : descriptor_(descriptor) {
    if (::tcgetattr(descriptor, &before_) != 0) {
        throw std::system_error(errno, std::system_category());
    }
}

/// The terminal of another session, too, has no other program before this one.
bool ViewerTerminalMode::isForeground() const {
    const pid_t group = ::tcgetpgrp(descriptor_);
    return group < 0 || group == ::getpgrp();
}

void ViewerTerminalMode::enter() {
    if (!isForeground()) {
        return;
    }
    termios mode = before_;
    mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    // Its signal would end the program without its terminal being given back.
    mode.c_cc[VQUIT] = _POSIX_VDISABLE;
    (void)::tcsetattr(descriptor_, TCSANOW, &mode);  // a terminal that is gone ends the program
    write(descriptor_, begin);
    isEntered_ = true;
}

void ViewerTerminalMode::leave() {
    const bool isOurs = isEntered_ && isForeground();
    isEntered_ = false;
    if (!isOurs) {
        return;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread uses a terminal.
    (void)::tcflow(descriptor_, TCOON);  // where the user has stopped it
    write(descriptor_, end);
    (void)::tcsetattr(descriptor_, TCSANOW, &before_);  // nobody can help it
}

}  // namespace velmora
