#include "tests/support/desktop/AccessibleSession.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

using Texts = std::vector<std::string>;

constexpr std::chrono::seconds patience{30};
constexpr std::chrono::seconds lookPatience{2};
/// For what ends at once, as soon as it is told.
constexpr std::chrono::seconds endPatience{5};

ViewerRectangle rectangleOf(const boost::json::value& value) {
    const auto numbers = boost::json::value_to<std::vector<std::int64_t>>(value);
    return {numbers.at(0), numbers.at(1), numbers.at(2), numbers.at(3)};
}

std::vector<ViewerRectangle> rectanglesOf(const boost::json::value& value) {
    std::vector<ViewerRectangle> rectangles;
    for (const auto& element : value.as_array()) {
        rectangles.push_back(rectangleOf(element));
    }
    return rectangles;
}

SeenAlert seenIn(const std::string& text) {
    const boost::json::value all = boost::json::parse(text);
    const auto textsAt = [&](const char* key) { return boost::json::value_to<Texts>(all.at(key)); };
    const auto textAt = [&](const char* key) {
        return boost::json::value_to<std::string>(all.at(key));
    };
    SeenAlert seen;
    seen.role = textAt("role");
    seen.name = textAt("name");
    seen.description = textAt("description");
    seen.texts = textsAt("texts");
    seen.buttons = textsAt("buttons");
    seen.defaultButtons = textsAt("defaultButtons");
    seen.focused = textAt("focused");
    seen.place = rectangleOf(all.at("place"));
    seen.textPlaces = rectanglesOf(all.at("textPlaces"));
    seen.buttonPlaces = rectanglesOf(all.at("buttonPlaces"));
    seen.iconPlaces = rectanglesOf(all.at("iconPlaces"));
    return seen;
}

/// The next line from a descriptor.
std::string readLine(int descriptor) {
    std::string line;
    pollfd ready{descriptor, POLLIN, 0};
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience).count();
    char character = 0;
    while (::poll(&ready, 1, static_cast<int>(limit)) == 1 &&
           ::read(descriptor, &character, 1) == 1 && character != '\n') {
        line += character;
    }
    return line;
}

std::map<std::string, std::string> environmentOf(const std::string& busAddress) {
    return {{"DBUS_SESSION_BUS_ADDRESS", busAddress}, {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}};
}

std::string contentOf(const std::filesystem::path& file) {
    std::ostringstream content;
    content << std::ifstream(file).rdbuf();
    return content.str();
}

}  // namespace

bool SeenAlert::shows(const ViewerAlert& alert) const {
    return role == "dialog" && name == alert.title && description == alert.informativeText &&
           texts == Texts{alert.title, alert.informativeText} && buttons == alert.buttons &&
           defaultButtons == Texts{alert.buttons.front()};
}

std::ostream& operator<<(std::ostream& stream, const SeenAlert& seen) {
    stream << seen.role << " \"" << seen.name << "\" (" << seen.description << ")";
    for (const std::string& text : seen.texts) {
        stream << "\n  text \"" << text << '"';
    }
    for (const std::string& button : seen.buttons) {
        stream << "\n  button \"" << button << '"';
    }
    return stream;
}

AccessibleSession::AccessibleSession() {
    std::array<int, 2> ends{-1, -1};
    viewerCheck(::pipe2(ends.data(), O_CLOEXEC) == 0, "a session bus gets no pipe");
    XChildProcess::Start what;
    // Whatever the bus starts stays away from the display of whoever runs the tests.
    what.arguments = {
        "env",       "-u",       "DISPLAY",     "dbus-daemon",
        "--session", "--nofork", "--nopidfile", "--print-address=" + std::to_string(ends[1])};
    what.environment = {"XDG_RUNTIME_DIR=" + folder_.path().string()};
    what.logFile = folder_.path() / "bus.log";
    what.inherited = ends[1];
    bus_ = XChildProcess::start(what);
    ::close(ends[1]);
    const std::string address = readLine(ends[0]);
    ::close(ends[0]);
    viewerCheck(!address.empty(), "the test's session bus does not start");
    environment_ = environmentOf(address);
}

AccessibleSession::AccessibleSession(const std::string& busAddress)
    : environment_(environmentOf(busAddress)) {}

AccessibleSession::~AccessibleSession() {
    if (bus_ == 0) {
        return;
    }
    // What it started ends with it.
    (void)::kill(bus_, SIGTERM);
    int status = 0;
    if (!XChildProcess::waitForEnd(bus_, endPatience, status)) {
        (void)::kill(bus_, SIGKILL);
        (void)XChildProcess::waitForEnd(bus_, endPatience, status);
    }
}

std::optional<SeenAlert> AccessibleSession::await(const std::string& button) const {
    return use("read", button);
}

std::optional<SeenAlert> AccessibleSession::press(const std::string& button) const {
    return use("press", button);
}

std::optional<SeenAlert> AccessibleSession::use(const std::string& action,
                                                const std::string& button) const {
    const auto end = std::chrono::steady_clock::now() + patience;
    std::optional<SeenAlert> seen;
    while (!seen && std::chrono::steady_clock::now() < end) {
        seen = look(action, button);
    }
    return seen;
}

std::optional<SeenAlert> AccessibleSession::look(const std::string& action,
                                                 const std::string& button) const {
    const auto output = folder_.path() / "seen";
    std::filesystem::remove(output);
    XChildProcess::Start what;
    // The distribution's own interpreter: it has the bindings.
    what.arguments = {"env",
                      "-u",
                      "DISPLAY",
                      "/usr/bin/python3",
                      "-W",
                      "ignore",
                      ACCESSIBLE_ALERT_PATH,
                      action,
                      button,
                      std::to_string(lookPatience.count())};
    for (const auto& [name, value] : environment_) {
        what.environment.push_back(name);
        what.environment.back().append("=").append(value);
    }
    what.logFile = output;
    int status = 0;
    const bool hasEnded = XChildProcess::waitForEnd(XChildProcess::start(what), patience, status);
    viewerCheck(hasEnded, "a look for an alert does not end");
    const std::string text = contentOf(output);
    // The libraries may have said something before.
    const std::size_t begin = text.find("{\"role\"");
    if (status != 0 || begin == std::string::npos) {
        return std::nullopt;
    }
    return seenIn(text.substr(begin));
}

}  // namespace velmora
