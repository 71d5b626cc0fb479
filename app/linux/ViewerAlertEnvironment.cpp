#include "app/linux/ViewerAlertEnvironment.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace velmora {

namespace {

bool isSet(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    const char* const value = ::getenv(name);
    return value != nullptr && *value != '\0';
}

}  // namespace

bool ViewerAlertEnvironment::hasGraphicalSession() {
    return isSet("WAYLAND_DISPLAY") || isSet("DISPLAY");
}

ViewerAlertEnvironment::ViewerAlertEnvironment() {
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables_.emplace_back(*variable);
    }
    // A session manager would start the program again at the next login.
    remove("SESSION_MANAGER");
    // A socket that a compositor left to the host is not passed on.
    remove("WAYLAND_SOCKET");
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
    remove(name);
    variables_.push_back(name + "=" + value);
}

void ViewerAlertEnvironment::remove(const std::string& name) {
    std::erase_if(variables_, [beginning = name + "="](const std::string& variable) {
        return variable.starts_with(beginning);
    });
}

}  // namespace velmora
