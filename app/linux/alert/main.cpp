#include <sys/socket.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "app/linux/ViewerAlertMessage.h"
#include "app/linux/alert/ViewerAlertDialog.h"
#include "app/linux/alert/ViewerWindowActivation.h"

namespace velmora {

namespace {

/// Where the host's message comes from; its end is the host's end.
constexpr int host = STDIN_FILENO;
constexpr int notShownStatus = 1;

/// Made by the host, which removes it too unless it is gone first; empty for none.
std::string& privateFolder() {
    static std::string folder;
    return folder;
}

/// Any thread, any number of times.
void removePrivateFolder() {
    if (!privateFolder().empty()) {
        std::error_code ignored;  // removed by the host already, or there is nobody to be told
        std::filesystem::remove_all(privateFolder(), ignored);
    }
}

/// Leaves with `status` as things stand: the toolkit's threads and the display server, which may
/// hang, are not waited for.
[[noreturn]] void leave(int status) {
    removePrivateFolder();
    ::_exit(status);
}

std::optional<ViewerAlertMessage> receiveMessage() {
    const ssize_t size = ::recv(host, nullptr, 0, MSG_PEEK | MSG_TRUNC);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    if (::recv(host, bytes.data(), bytes.size(), 0) <= 0) {
        return std::nullopt;
    }
    return ViewerAlertMessage::decoded(bytes);
}

/// Ends the program with the host, also while the display server hangs.
void endWithHost() {
    std::array<char, 1> nothing;
    while (::recv(host, nothing.data(), nothing.size(), 0) > 0) {
    }
    leave(notShownStatus);
}

/// The toolkit's words are for nobody. Without a display server it would end the program by a
/// signal, which counts as a crash.
void dropToolkitMessage(QtMsgType type, const QMessageLogContext&, const QString&) {
    if (type == QtFatalMsg) {
        leave(notShownStatus);
    }
}

/// Whether nobody gives the focus to a window that does not ask for it: an X server without a
/// window manager.
bool isFocusUnmanaged(const QApplication& application) {
    const auto* const x11 = application.nativeInterface<QNativeInterface::QX11Application>();
    if (x11 == nullptr) {
        return false;
    }
    xcb_connection_t* const connection = x11->connection();
    constexpr std::string_view name = "_NET_SUPPORTING_WM_CHECK";
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        ::xcb_intern_atom_reply(
            connection, ::xcb_intern_atom(connection, 0, name.size(), name.data()), nullptr),
        &std::free);
    if (atom == nullptr) {
        return false;
    }
    const xcb_window_t root = ::xcb_setup_roots_iterator(::xcb_get_setup(connection)).data->root;
    const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> manager(
        ::xcb_get_property_reply(
            connection, ::xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1),
            nullptr),
        &std::free);
    return manager != nullptr && manager->value_len == 0;
}

/// Whether the desktop gave a token for what its user has just started, by either of its names: the
/// toolkit looks for the older one on X11 alone, where it is at home, and takes away what it finds.
bool hasActivationToken() {
    constexpr const char* name = "XDG_ACTIVATION_TOKEN";
    const QByteArray older = qgetenv("DESKTOP_STARTUP_ID");
    if (qEnvironmentVariableIsEmpty(name) && !older.isEmpty()) {
        qputenv(name, older);
    }
    return !qEnvironmentVariableIsEmpty(name);
}

int showAlert(int argumentCount, char** arguments, const ViewerAlert& alert) {
    qInstallMessageHandler(dropToolkitMessage);
    // Not what the session's type says: it is often missing. What cannot be had is passed over.
    qputenv("QT_QPA_PLATFORM",
            qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") ? "xcb" : "wayland;xcb");
    const bool isStartedByUser = hasActivationToken();
    const QApplication application(argumentCount, arguments);
    QGuiApplication::setDesktopFileName(QStringLiteral("com.quilmer.velmora.viewer_host"));
    ViewerAlertDialog dialog(alert);
    // No modal one: some window managers give those the focus whatever their user is doing.
    dialog.show();
    dialog.raise();
    if (isStartedByUser || isFocusUnmanaged(application)) {
        ViewerWindowActivation::ofWindow(dialog);
    }
    // A window manager that leaves the focus where it is tells its user of the window instead.
    QApplication::alert(&dialog);
    (void)QApplication::exec();  // always 0: what counts is the dialog's result
    return dialog.result() == QDialog::Accepted ? ViewerAlertMessage::firstButtonStatus
                                                : ViewerAlertMessage::otherButtonStatus;
}

}  // namespace

}  // namespace velmora

/// Shows the alert that the host sends over standard input, and tells by its exit status how it was
/// closed.
int main(int argumentCount, char** arguments) {
    const auto message = velmora::receiveMessage();
    if (!message) {
        return velmora::notShownStatus;
    }
    velmora::privateFolder() = message->privateFolder;
    // Without its display server the toolkit ends the program by itself, in the ordinary way.
    (void)std::atexit(velmora::removePrivateFolder);  // else the host removes it
    std::thread(velmora::endWithHost).detach();
    velmora::leave(velmora::showAlert(argumentCount, arguments, message->alert));
}
