#include "tests/support/desktop/DesktopSession.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <ranges>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/desktop/OrdinaryUser.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds endPatience{5};
constexpr const char* portalName = "org.freedesktop.portal.Desktop";

std::filesystem::path makeFolder(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    return folder;
}

/// The folder of whoever makes one, who is an ordinary user from then on.
std::filesystem::path inOwnFolder(const TemporaryFolder& folder) {
    return makeFolder(folder.path() / "run");
}

TemporaryFolder asOrdinaryUser() {
    OrdinaryUser::become();
    return TemporaryFolder();
}

std::string searchPath() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* path = std::getenv("PATH");
    return path != nullptr ? path : "/usr/bin:/bin";
}

}  // namespace

DesktopSession::DesktopSession() : folder_(asOrdinaryUser()), runtimeFolder_(inOwnFolder(folder_)) {
    const auto home = makeFolder(folder_.path() / "home");
    makeFolder(folder_.path() / "log");
    environment_ = {{"PATH", searchPath()},
                    {"LC_ALL", "C.UTF-8"},
                    {"HOME", home},
                    {"XDG_RUNTIME_DIR", runtimeFolder_},
                    {"XDG_CONFIG_HOME", makeFolder(home / ".config")},
                    {"XDG_CACHE_HOME", home / ".cache"},
                    {"XDG_DATA_HOME", home / ".local/share"},
                    {"XDG_STATE_HOME", home / ".local/state"},
                    {"XDG_SESSION_TYPE", "wayland"},
                    {"GSETTINGS_BACKEND", "memory"},
                    {"LIBGL_ALWAYS_SOFTWARE", "1"},
                    {"DBUS_SESSION_BUS_ADDRESS", bus_.address()},
                    {"DBUS_SYSTEM_BUS_ADDRESS", bus_.noAddress()}};
}

DesktopSession::~DesktopSession() {
    for (const std::string& name : std::views::reverse(order_)) {
        end(members_.at(name), SIGTERM);
    }
    if (testing::Test::HasFailure()) {
        showLogs();
    }
}

std::filesystem::path DesktopSession::configurationFolder() const {
    return environment_.at("XDG_CONFIG_HOME");
}

void DesktopSession::startPipeWire() {
    // A socket that one before has left behind says nothing.
    std::filesystem::remove(runtimeFolder_ / "pipewire-0");
    start("pipewire", {"pipewire"});
    // Before there is a socket, a session manager leaves every stream as it is.
    awaitFile(runtimeFolder_ / "pipewire-0");
    start("wireplumber", {"wireplumber"});
}

void DesktopSession::startPortal() {
    start("portal", {"/usr/libexec/xdg-desktop-portal"});
    awaitOwner(portalName);
    await("portal for screens", [&] {
        return bus_.hasProperty(portalName, "/org/freedesktop/portal/desktop",
                                "org.freedesktop.portal.ScreenCast", "version");
    });
}

void DesktopSession::killPortal() {
    kill("portal");
    expect(bus_.awaitNoOwner(portalName, patience), "the portal's name stays behind it");
}

void DesktopSession::start(const std::string& member, const std::vector<std::string>& arguments,
                           const Environment& more) {
    if (!members_.contains(member)) {
        order_.push_back(member);
    }
    Member& started = members_[member];
    started.arguments = arguments;
    started.more = more;
    launch(member, started);
}

void DesktopSession::restart(const std::string& member) {
    launch(member, members_.at(member));
}

void DesktopSession::launch(const std::string& name, Member& member) {
    XChildProcess::Start what;
    what.arguments = {"env", "-i"};
    Environment environment = member.more;
    environment.insert(environment_.begin(), environment_.end());
    for (const auto& [variable, value] : environment) {
        what.arguments.push_back(variable);
        what.arguments.back().append("=").append(value);
    }
    what.arguments.insert(what.arguments.end(), member.arguments.begin(), member.arguments.end());
    what.logFile = folder_.path() / "log" / name;
    member.process = XChildProcess::start(what);
}

int DesktopSession::awaitEnd(const std::string& member) {
    int status = 0;
    expect(XChildProcess::waitForEnd(processOf(member), patience, status),
           member + " does not end");
    members_.at(member).process = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string DesktopSession::unusedName(const std::string& kind) const {
    return kind + "-" + std::to_string(members_.size());
}

pid_t DesktopSession::processOf(const std::string& member) const {
    return members_.at(member).process;
}

void DesktopSession::kill(const std::string& member) {
    end(members_.at(member), SIGKILL);
}

void DesktopSession::freeze(const std::string& member) {
    const pid_t process = processOf(member);
    siginfo_t stopped{};
    (void)::kill(process, SIGSTOP);
    viewerCheck(::waitid(P_PID, static_cast<id_t>(process), &stopped, WSTOPPED | WNOWAIT) == 0,
                "a part of the test's desktop cannot be stopped");
}

void DesktopSession::thaw(const std::string& member) {
    (void)::kill(processOf(member), SIGCONT);
}

void DesktopSession::end(Member& member, int signal) {
    if (member.process == 0) {
        return;
    }
    (void)::kill(member.process, signal);
    // One that is stopped hears of its end only then.
    (void)::kill(member.process, SIGCONT);
    int status = 0;
    if (!XChildProcess::waitForEnd(member.process, endPatience, status)) {
        (void)::kill(member.process, SIGKILL);
        viewerCheck(XChildProcess::waitForEnd(member.process, patience, status),
                    "a part of the test's desktop that was killed does not end");
    }
    member.process = 0;
}

void DesktopSession::awaitOwner(const std::string& name) {
    expect(bus_.awaitOwner(name, patience), "nobody owns " + name);
}

void DesktopSession::awaitFile(const std::filesystem::path& file) {
    await(file.filename(), [&] { return std::filesystem::exists(file); });
}

void DesktopSession::await(const std::string& what, const std::function<bool()>& isReady) {
    constexpr int betweenLooks = 5;
    const auto end = std::chrono::steady_clock::now() + patience;
    bool isSo = isReady();
    while (!isSo && std::chrono::steady_clock::now() < end) {
        ::poll(nullptr, 0, betweenLooks);
        isSo = isReady();
    }
    expect(isSo, "there is no " + what);
}

void DesktopSession::expect(bool isSo, const std::string& what) const {
    if (!isSo) {
        showLogs();
        viewerCheck(false, ("the test's desktop does not work: " + what).c_str());
    }
}

void DesktopSession::showLogs() const {
    const auto show = [](const std::string& name, const std::filesystem::path& file) {
        std::cerr << "--- " << name << " ---\n" << std::ifstream(file).rdbuf() << '\n';
        std::cerr.clear();  // the log of one that said nothing
    };
    for (const std::string& name : order_) {
        show(name, folder_.path() / "log" / name);
    }
    show("bus", bus_.logFile());
}

}  // namespace velmora
