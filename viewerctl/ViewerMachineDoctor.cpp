#include "viewerctl/ViewerMachineDoctor.h"

#include <curl/curlver.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "viewerctl/ViewerPortHolder.h"
#include "viewerctl/ViewerProgramOutput.h"

namespace velmora {

namespace {

namespace fs = std::filesystem;
using State = ViewerFinding::State;

constexpr std::chrono::seconds programLimit{5};
constexpr const char* hostName = "VelmoraViewerHost";

/// Empty where it is not set.
std::string variable(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

/// The folders of a list that colons part.
void append(std::vector<fs::path>& folders, const std::string& list) {
    std::istringstream parts(list);
    for (std::string folder; std::getline(parts, folder, ':');) {
        folders.emplace_back(folder);
    }
}

/// Beside this program, else where the shell finds it.
std::string findHost() {
    std::error_code error;
    const fs::path own = fs::read_symlink("/proc/self/exe", error);
    std::vector<fs::path> folders{own.parent_path()};
    append(folders, variable("PATH"));
    for (const fs::path& folder : folders) {
        const fs::path program = folder / hostName;
        if (::access(program.c_str(), X_OK) == 0) {
            return program;
        }
    }
    return {};
}

/// The value of a line NAME=VALUE, without quotes.
std::string valueIn(const fs::path& path, std::string_view name) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name) && line.substr(name.size()).starts_with('=')) {
            std::string value = line.substr(name.size() + 1);
            std::erase(value, '"');
            return value;
        }
    }
    return {};
}

bool runs(std::string_view command) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
        std::ifstream file(entry.path() / "comm");
        std::string name;
        if (std::getline(file, name) && name == command) {
            return true;
        }
    }
    return false;
}

/// The entry that starts the host with the desktop; empty where there is none. One of the account's
/// own stands for the system's of the same name (freedesktop.org, autostart).
std::string autostartEntry() {
    const std::string home = variable("XDG_CONFIG_HOME");
    const std::string system = variable("XDG_CONFIG_DIRS");
    std::vector<fs::path> folders{home.empty() ? variable("HOME") + "/.config" : home};
    append(folders, system.empty() ? "/etc/xdg" : system);
    std::set<fs::path> seen;
    std::error_code error;
    for (const fs::path& folder : folders) {
        for (const auto& entry : fs::directory_iterator(folder / "autostart", error)) {
            const bool isFirst = entry.path().extension() == ".desktop" &&
                                 seen.insert(entry.path().filename()).second;
            const std::string command = isFirst ? valueIn(entry.path(), "Exec") : "";
            if (command.find(hostName) != std::string::npos &&
                valueIn(entry.path(), "Hidden") != "true") {
                return entry.path();
            }
        }
    }
    return {};
}

}  // namespace

ViewerMachineDoctor::ViewerMachineDoctor(ViewerHostClient& client, const ViewerConsole& console)
    : client_(client), console_(console), host_(findHost()) {}

ViewerTask<std::vector<ViewerFinding>> ViewerMachineDoctor::examine() {
    std::vector<ViewerFinding> findings{versions(), hostProgram(), session(), access()};
    findings.push_back(co_await port());
    findings.push_back(firewall());
    findings.push_back(autostart());
    co_return findings;
}

std::string ViewerMachineDoctor::say(std::string_view english, std::string_view russian) const {
    return std::string(console_.say(english, russian));
}

ViewerFinding ViewerMachineDoctor::finding(State state, const char* word, std::string_view english,
                                           std::string_view russian, std::string text) const {
    return {state, word, say(english, russian), std::move(text), ""};
}

ViewerFinding ViewerMachineDoctor::versions() const {
    utsname kernel{};
    (void)::uname(&kernel);  // fails only for a bad address
    const std::string system = valueIn("/etc/os-release", "PRETTY_NAME");
    return finding(State::good, "versions", "versions", "версии",
                   "velmora-viewerctl " VIEWER_VERSION ", libcurl " LIBCURL_VERSION ", " + system +
                       ", " + kernel.sysname + " " + kernel.release);
}

ViewerFinding ViewerMachineDoctor::hostProgram() const {
    auto found = finding(host_.empty() ? State::bad : State::good, "host", "Viewer Host",
                         "Viewer Host", host_.empty() ? say("not found", "не найден") : host_);
    if (host_.empty()) {
        found.advice = say("install it, or put it beside this program",
                           "установите его или положите рядом с этой программой");
    }
    return found;
}

ViewerFinding ViewerMachineDoctor::session() const {
    const std::string type = variable("XDG_SESSION_TYPE");
    const std::string wayland = variable("WAYLAND_DISPLAY");
    const std::string x11 = variable("DISPLAY");
    const std::string none = say("none", "нет");
    auto found = finding(
        wayland.empty() && x11.empty() ? State::bad : State::good, "session", "session", "сеанс",
        (type.empty() ? none : type) + (wayland.empty() ? "" : ", WAYLAND_DISPLAY=" + wayland) +
            (x11.empty() ? "" : ", DISPLAY=" + x11));
    if (found.state == State::bad) {
        found.advice = say("start this and the host inside the graphical session",
                           "запускайте это и хост внутри графического сеанса");
    }
    return found;
}

ViewerFinding ViewerMachineDoctor::access() const {
    const bool isX11 = variable("XDG_SESSION_TYPE") == "x11" || variable("WAYLAND_DISPLAY").empty();
    if (!isX11) {
        return portalAccess();
    }
    const auto told = host_.empty()
                          ? std::nullopt
                          : ViewerProgramOutput::of({host_, "--check-permission"}, programLimit);
    const bool isGranted = told && told->status == 0;
    auto found = finding(isGranted ? State::good : State::bad, "access", "screen", "экран",
                         told ? told->text : say("cannot be asked", "не у кого спросить"));
    if (!isGranted) {
        found.advice = say("use the session's own account and cookie, not sudo or ssh -X",
                           "нужны учётная запись и ключ самого сеанса, не sudo и не ssh -X");
    }
    return found;
}

ViewerFinding ViewerMachineDoctor::portalAccess() const {
    const auto told = ViewerProgramOutput::of(
        {"busctl", "--user", "get-property", "org.freedesktop.portal.Desktop",
         "/org/freedesktop/portal/desktop", "org.freedesktop.portal.ScreenCast", "version"},
        programLimit);
    const bool isThere = told && told->status == 0;
    auto found = finding(isThere ? State::good : State::bad, "access", "screen", "экран",
                         isThere ? say("the desktop's portal casts screens",
                                       "портал рабочего стола показывает экраны")
                                 : say("no portal that casts screens answers",
                                       "портал, показывающий экраны, не отвечает"));
    if (!isThere) {
        found.advice = say("install xdg-desktop-portal and its part for your desktop",
                           "установите xdg-desktop-portal и его часть для вашего рабочего стола");
    }
    return found;
}

ViewerTask<ViewerFinding> ViewerMachineDoctor::port() const {
    constexpr std::uint16_t number = ViewerHostProtocolV1::defaultPort;
    const auto holder = ViewerPortHolder::of(number);
    const std::string title = say("TCP port 9090", "порт TCP 9090");
    if (!holder) {
        ViewerFinding free{State::note, "port", title, say("free", "свободен"),
                           say("Viewer Host does not run: start it", "Viewer Host не запущен")};
        co_return free;
    }
    const auto outcome = co_await client_.listing(ViewerHostAddress("127.0.0.1", number));
    const std::string process =
        holder->process.empty() ? say("another user's program", "программа другого пользователя")
                                : holder->process;
    ViewerFinding held{State::good, "port", title, process, ""};
    if (!outcome) {
        held.state = State::bad;
        held.text += ": " + std::string(textOf(outcome.failure(), console_.language));
        held.advice = say("end that program, so that Viewer Host can have the port",
                          "завершите эту программу, чтобы порт достался Viewer Host");
    }
    co_return held;
}

ViewerFinding ViewerMachineDoctor::firewall() const {
    const bool isUFW = valueIn("/etc/ufw/ufw.conf", "ENABLED") == "yes";
    const bool isFirewalld = runs("firewalld");
    if (!isUFW && !isFirewalld) {
        return finding(State::good, "firewall", "firewall", "сетевой экран",
                       say("neither ufw nor firewalld", "ни ufw, ни firewalld"));
    }
    auto found =
        finding(State::note, "firewall", "firewall", "сетевой экран", isUFW ? "ufw" : "firewalld");
    found.advice = say("let operators in: ", "пропустите операторов: ") +
                   (isUFW ? "sudo ufw allow 9090/tcp"
                          : "sudo firewall-cmd --permanent --add-port=9090/tcp && "
                            "sudo firewall-cmd --reload");
    return found;
}

ViewerFinding ViewerMachineDoctor::autostart() const {
    const std::string entry = autostartEntry();
    auto found = finding(entry.empty() ? State::note : State::good, "autostart", "autostart",
                         "автозапуск", entry.empty() ? say("none", "нет") : entry);
    if (entry.empty()) {
        found.advice = say("after the next login somebody has to start the host",
                           "после следующего входа хост придётся запустить вручную");
    }
    return found;
}

}  // namespace velmora
