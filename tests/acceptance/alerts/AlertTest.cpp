#include "tests/acceptance/alerts/AlertTest.h"

#include <signal.h>

#include <vector>

namespace velmora {

XServer::Options AlertTest::serverOptions() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY", "-listen", "tcp"};
    return options;
}

HostLaunch AlertTest::withoutPermission() const {
    return launchWith(XAuthority::makeUntrusted(server_));
}

HostLaunch AlertTest::withPermission() const {
    return launchWith(server_.authorityFile());
}

HostLaunch AlertTest::scripted(const std::string& looks, const std::string& request,
                               const std::string& wording) const {
    HostLaunch launch = withPermission();
    launch.program = SCRIPTED_HOST_PATH;
    launch.arguments = {looks, request, wording};
    return launch;
}

HostLaunch AlertTest::launchWith(const std::string& authority) const {
    HostLaunch launch = launchOn(server_);
    launch.environment["XAUTHORITY"] = authority;
    // No machine that runs this needs to have the locale.
    launch.environment["LC_ALL"] = language_ + "_XX.UTF-8";
    launch.environment["TMPDIR"] = temporary_.path();
    launch.environment.insert(session_.environment().begin(), session_.environment().end());
    return launch;
}

void AlertTest::expectShown(const ViewerAlert& alert) {
    const auto seen = session_.await(alert.buttons.front());
    ASSERT_TRUE(seen.has_value()) << "no alert \"" << alert.title << '"';
    EXPECT_TRUE(seen->shows(alert)) << *seen;
}

void AlertTest::press(const ViewerAlert& alert, std::size_t button) {
    const auto seen = session_.press(alert.buttons.at(button));
    ASSERT_TRUE(seen.has_value()) << "no alert \"" << alert.title << '"';
    EXPECT_TRUE(seen->shows(alert)) << *seen;
}

void AlertTest::expectEnd(const std::string& output) {
    const std::vector<pid_t> children = host_->children();
    EXPECT_EQ(host_->readToEnd(), output);
    EXPECT_EQ(host_->awaitEnd(), endedInOrder);
    for (const pid_t child : children) {
        EXPECT_EQ(::kill(child, 0), -1) << "an alert is left";
    }
    EXPECT_EQ(temporary_.entries(), 0U);
}

}  // namespace velmora
