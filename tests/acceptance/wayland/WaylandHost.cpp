#include "tests/acceptance/wayland/WaylandHost.h"

namespace velmora {

void WaylandHost::start() {
    process_ = std::make_unique<HostProcess>(launch());
    EXPECT_TRUE(press(catalogue_.consent()));
}

std::string WaylandHost::serve() {
    start();
    return process_->readLine().value_or("");
}

bool WaylandHost::press(const ViewerAlert& alert) {
    const auto seen = person_.press(alert.buttons.front());
    EXPECT_TRUE(!seen || seen->shows(alert)) << *seen;
    return seen.has_value();
}

std::optional<HostEnd> WaylandHost::end(int signal) {
    process_->signal(signal);
    return process_->awaitEnd();
}

HostLaunch WaylandHost::launch() const {
    HostLaunch launch;
    launch.environment = session_.environment();
    // No machine that runs this needs to have the locale.
    launch.environment["LC_ALL"] = "en_XX.UTF-8";
    launch.environment.insert(person_.environment().begin(), person_.environment().end());
    if (systemBus_) {
        launch.environment["DBUS_SYSTEM_BUS_ADDRESS"] = *systemBus_;
    }
    return launch;
}

}  // namespace velmora
