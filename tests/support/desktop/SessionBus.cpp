#include "tests/support/desktop/SessionBus.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/desktop/Descendants.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
/// For what ends at once, as soon as it is told.
constexpr std::chrono::seconds endPatience{5};
/// In milliseconds.
constexpr int betweenLooks = 10;

constexpr const char* services[] = {"org.a11y.Bus", "org.freedesktop.portal.Documents",
                                    "org.freedesktop.impl.portal.PermissionStore"};

void writeConfiguration(const std::filesystem::path& folder, const std::string& address) {
    const auto offered = folder / "services";
    std::filesystem::create_directory(offered);
    for (const std::string service : services) {
        std::filesystem::copy_file("/usr/share/dbus-1/services/" + service + ".service",
                                   offered / (service + ".service"));
    }
    std::ofstream(folder / "bus.conf")
        << "<busconfig><type>session</type><listen>" << address << "</listen><servicedir>"
        << offered.string() << "</servicedir><policy context=\"default\">"
        << "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
        << "<allow own=\"*\"/></policy></busconfig>\n";
}

bool isOwnedNow(sd_bus* connection, const std::string& name) {
    sd_bus_message* reply = nullptr;
    int isOwned = 0;
    (void)::sd_bus_call_method(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus", "NameHasOwner", nullptr, &reply, "s",
                               name.c_str());
    if (reply != nullptr) {
        (void)::sd_bus_message_read(reply, "b", &isOwned);  // else nobody owns it
    }
    ::sd_bus_message_unref(reply);
    return isOwned != 0;
}

/// Whether something is mounted there, if only what is left of a program that has ended.
bool isMounted(const std::filesystem::path& folder) {
    struct stat inside{};
    struct stat outside{};
    if (::stat(folder.c_str(), &inside) != 0) {
        return errno != ENOENT;
    }
    return ::stat(folder.parent_path().c_str(), &outside) == 0 && inside.st_dev != outside.st_dev;
}

/// Waits for what a bus has started, and for the documents' file system, which goes a little later
/// than its program.
void awaitEndOf(const Descendants& started, const std::filesystem::path& folder) {
    started.awaitEnd(endPatience);
    const auto end = std::chrono::steady_clock::now() + endPatience;
    while (isMounted(folder / "doc") && std::chrono::steady_clock::now() < end) {
        ::poll(nullptr, 0, betweenLooks);
    }
}

}  // namespace

SessionBus::SessionBus() {
    const auto socket = folder_.path() / "bus";
    address_ = "unix:path=" + socket.string();
    writeConfiguration(folder_.path(), address_);
    XChildProcess::Start what;
    // Whatever the bus starts stays away from the display of whoever runs the tests.
    what.arguments = {"env",
                      "-u",
                      "DISPLAY",
                      "-u",
                      "WAYLAND_DISPLAY",
                      "dbus-daemon",
                      "--nofork",
                      "--nopidfile",
                      "--config-file=" + (folder_.path() / "bus.conf").string()};
    what.environment = {
        "HOME=" + folder_.path().string(), "XDG_DATA_HOME=" + (folder_.path() / "data").string(),
        "XDG_RUNTIME_DIR=" + folder_.path().string(), "DBUS_SYSTEM_BUS_ADDRESS=" + noAddress()};
    what.logFile = logFile();
    process_ = XChildProcess::start(what);
    const auto end = std::chrono::steady_clock::now() + patience;
    bool isConnected = false;
    while (!isConnected && std::chrono::steady_clock::now() < end) {
        ::poll(nullptr, 0, betweenLooks);
        viewerCheck(::sd_bus_new(&connection_) >= 0, "a test has no memory for a bus");
        isConnected = ::sd_bus_set_address(connection_, address_.c_str()) >= 0 &&
                      ::sd_bus_set_bus_client(connection_, 1) >= 0 &&
                      ::sd_bus_start(connection_) >= 0 &&
                      isOwnedNow(connection_, "org.freedesktop.DBus");
        if (!isConnected) {
            connection_ = ::sd_bus_close_unref(connection_);
        }
    }
    viewerCheck(isConnected, "the test's session bus does not start");
}

SessionBus::~SessionBus() {
    ::sd_bus_close_unref(connection_);
    if (process_ == 0) {
        return;
    }
    // What it started ends by itself soon after it, and writes into the folder until then.
    const Descendants started(process_);
    (void)::kill(process_, SIGTERM);
    int status = 0;
    if (!XChildProcess::waitForEnd(process_, endPatience, status)) {
        (void)::kill(process_, SIGKILL);
        (void)XChildProcess::waitForEnd(process_, endPatience, status);
    }
    awaitEndOf(started, folder_.path());
}

void SessionBus::kill() {
    const Descendants started(process_);
    (void)::kill(process_, SIGKILL);
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(process_, patience, status),
                "the test's session bus ends when it is killed");
    awaitEndOf(started, folder_.path());
    process_ = 0;
}

std::string SessionBus::noAddress() const {
    return "unix:path=" + (folder_.path() / "none").string();
}

bool SessionBus::awaitOwner(const std::string& name, std::chrono::seconds limit) const {
    return awaitOwnership(name, true, limit);
}

bool SessionBus::awaitNoOwner(const std::string& name, std::chrono::seconds limit) const {
    return awaitOwnership(name, false, limit);
}

bool SessionBus::awaitOwnership(const std::string& name, bool isOwned,
                                std::chrono::seconds limit) const {
    const std::string rule =
        "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + name + "'";
    sd_bus_slot* slot = nullptr;
    const auto ignore = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
    viewerCheck(::sd_bus_add_match(connection_, &slot, rule.c_str(), ignore, nullptr) >= 0,
                "the test's session bus answers");
    const auto end = std::chrono::steady_clock::now() + limit;
    while (isOwnedNow(connection_, name) != isOwned && std::chrono::steady_clock::now() < end) {
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            end - std::chrono::steady_clock::now());
        if (::sd_bus_process(connection_, nullptr) == 0 && left.count() > 0) {
            (void)::sd_bus_wait(connection_, static_cast<std::uint64_t>(left.count()));
        }
    }
    ::sd_bus_slot_unref(slot);
    return isOwnedNow(connection_, name) == isOwned;
}

bool SessionBus::hasProperty(const std::string& owner, const std::string& object,
                             const std::string& interface, const std::string& property) const {
    sd_bus_message* reply = nullptr;
    const int result =
        ::sd_bus_get_property(connection_, owner.c_str(), object.c_str(), interface.c_str(),
                              property.c_str(), nullptr, &reply, "u");
    ::sd_bus_message_unref(reply);
    return result >= 0;
}

}  // namespace velmora
