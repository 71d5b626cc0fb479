#include "core/capture/linux/x11/ViewerX11Connection.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Taken for the whole of a connection attempt, also of one that is stuck: xcb finds the authority
/// file's name in a buffer that all threads share. Only threads that may be stuck anyway get here.
std::mutex connecting;

/// xcb writes a server's refusal straight to the standard error of the process, which says nothing
/// about such things. While one of these lives, that descriptor leads nowhere, except for the
/// reason why the process ends. One at a time.
class SilencedStandardError final {
  public:
    SilencedStandardError() : saved_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (saved_ >= 0 && nowhere >= 0) {
            tellViewerChecksTo(saved_);
            ::dup2(nowhere, STDERR_FILENO);
        }
        ::close(nowhere);
    }
    ~SilencedStandardError() {
        ::dup2(saved_, STDERR_FILENO);
        tellViewerChecksTo(STDERR_FILENO);
        ::close(saved_);
    }
    SilencedStandardError(const SilencedStandardError&) = delete;
    SilencedStandardError& operator=(const SilencedStandardError&) = delete;

  private:
    /// -1, which every use refuses, where the process has none or no descriptor to spare.
    const int saved_;
};

/// The screen with this number; xcb connects to no server that lacks it.
const xcb_screen_t* screenAt(xcb_connection_t* connection, int number) {
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < number; ++i) {
        xcb_screen_next(&screens);
    }
    return screens.data;
}

}  // namespace

std::string ViewerX11Connection::displayNameFromEnvironment() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* name = std::getenv("DISPLAY");
    return name != nullptr ? name : "";
}

std::shared_ptr<ViewerX11Connection> ViewerX11Connection::connect(const std::string& displayName) {
    // xcb would take an empty name for "look into the environment".
    if (displayName.empty()) {
        return nullptr;
    }
    int screenNumber = 0;
    xcb_connection_t* connection = nullptr;
    {
        const std::lock_guard<std::mutex> turn(connecting);
        const SilencedStandardError silence;
        connection = xcb_connect(displayName.c_str(), &screenNumber);
    }
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return nullptr;
    }
    return std::shared_ptr<ViewerX11Connection>(
        new ViewerX11Connection(connection, screenAt(connection, screenNumber)));
}

ViewerX11Connection::ViewerX11Connection(xcb_connection_t* connection, const xcb_screen_t* screen)
    : connection_(connection), screen_(screen) {}

ViewerX11Connection::~ViewerX11Connection() {
    xcb_disconnect(connection_);
    // Where xcb has closed it, its number may lead to another file by now, or nowhere.
    if (passedOnFile_ && identityOf(passedOn_) == passedOnFile_) {
        ::close(passedOn_);
    }
}

bool ViewerX11Connection::isDead() const {
    return xcb_connection_has_error(connection_) != 0;
}

void ViewerX11Connection::abort() {
    // The descriptor stays open as long as the object lives, and the caller is one of its owners.
    // It fails only when the peer is gone already.
    (void)::shutdown(xcb_get_file_descriptor(connection_), SHUT_RDWR);
}

void ViewerX11Connection::passOn(int descriptor) {
    viewerCheck(!passedOnFile_, "a connection passes one descriptor on");
    passedOn_ = descriptor;
    passedOnFile_ = identityOf(descriptor);
}

std::optional<ViewerX11Connection::FileIdentity> ViewerX11Connection::identityOf(int descriptor) {
    struct statx file{};
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_INO, &file) != 0) {
        return std::nullopt;
    }
    return FileIdentity{file.stx_dev_major, file.stx_dev_minor, file.stx_ino};
}

}  // namespace velmora
