#include "app/linux/ViewerAlertEnvironment.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace velmora {

namespace {

bool isSet(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    const char* const value = ::getenv(name);
    return value != nullptr && *value != '\0';
}

/// The beginning of a variable, up to its value.
std::string_view nameOf(const std::string& variable) {
    return std::string_view(variable).substr(0, variable.find('=') + 1);
}

bool isSetIn(const std::string& name, const ViewerAlertEnvironment::Variables& own) {
    const std::string beginning = name + "=";
    const auto found = std::ranges::find(own, beginning, nameOf);
    return found == own.end() ? isSet(name.c_str()) : *found != beginning;
}

}  // namespace

bool ViewerAlertEnvironment::hasGraphicalSession(const Variables& own) {
    return isSetIn("WAYLAND_DISPLAY", own) || isSetIn("DISPLAY", own);
}

ViewerAlertEnvironment::ViewerAlertEnvironment(const Variables& own) {
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables_.emplace_back(*variable);
    }
    for (const std::string& variable : own) {
        remove(nameOf(variable));
        variables_.push_back(variable);
    }
    // A session manager would start the program again at the next login.
    remove("SESSION_MANAGER=");
    // A socket that a compositor left to the host is not passed on.
    remove("WAYLAND_SOCKET=");
    if (!isSet("XDG_RUNTIME_DIR")) {
        makePrivateFolder();
    }
    if (!isSet("DBUS_SESSION_BUS_ADDRESS")) {
        // Else one would be started, and outlive the session.
        set("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    }
}

ViewerAlertEnvironment::~ViewerAlertEnvironment() {
    if (!privateFolder_.empty()) {
        std::error_code ignored;  // gone already, or not to be had
        std::filesystem::remove_all(privateFolder_, ignored);
    }
}

void ViewerAlertEnvironment::makePrivateFolder() {
    std::error_code error;
    std::string folder = std::filesystem::temp_directory_path(error) / "velmora-viewer-host-XXXXXX";
    if (error || ::mkdtemp(folder.data()) == nullptr) {
        return;  // the alert shows without one
    }
    privateFolder_ = folder;
    set("XDG_RUNTIME_DIR", folder);
}

void ViewerAlertEnvironment::set(const std::string& name, const std::string& value) {
    remove(name + "=");
    variables_.push_back(name + "=" + value);
}

void ViewerAlertEnvironment::remove(std::string_view beginning) {
    std::erase_if(variables_, [beginning](const std::string& variable) {
        return variable.starts_with(beginning);
    });
}

}  // namespace velmora
