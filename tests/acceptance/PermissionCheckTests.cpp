#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XAuthority.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr const char* granted = "Screen Recording: granted\n";
constexpr const char* notGranted = "Screen Recording: not granted\n";

/// One run of the program with `--check-permission`, whose whole output is looked at.
void expectAnswer(HostLaunch launch, const std::string& output, int status) {
    if (launch.arguments.empty()) {
        launch.arguments = {"--check-permission"};
    }
    HostProcess host(launch);
    EXPECT_EQ(host.readToEnd(), output);
    EXPECT_EQ(host.awaitEnd(), (HostEnd{status, 0}));
}

XServer::Options guarded() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    options.arguments = {"+extension", "SECURITY"};
    return options;
}

TEST(PermissionCheck, IsGrantedWhereTheScreenCanBeRead) {
    const XServer server;
    expectAnswer(launchOn(server), granted, 0);
}

TEST(PermissionCheck, IsSelectedAnywhereAmongTheArguments) {
    const XServer server;
    HostLaunch launch = launchOn(server);
    launch.arguments = {"--other", "--check-permission", "more"};
    expectAnswer(launch, granted, 0);
    launch.arguments = {"more", "--check-permission"};
    expectAnswer(launch, granted, 0);
    launch.arguments = {"more"};
    launch.name = "--check-permission";
    expectAnswer(launch, granted, 0);
}

TEST(PermissionCheck, IsGrantedToAClientThatShowsTheCookie) {
    const XServer server(guarded());
    expectAnswer(launchOn(server), granted, 0);
}

TEST(PermissionCheck, IsNotGrantedWithoutTheCookie) {
    const XServer server(guarded());
    HostLaunch launch = launchOn(server);
    launch.environment["XAUTHORITY"] = "/dev/null";
    expectAnswer(launch, notGranted, 2);
}

TEST(PermissionCheck, IsNotGrantedToAnUntrustedClient) {
    const XServer server(guarded());
    HostLaunch launch = launchOn(server);
    launch.environment["XAUTHORITY"] = XAuthority::makeUntrusted(server);
    expectAnswer(launch, notGranted, 2);
}

TEST(PermissionCheck, IsNotGrantedWithoutADisplay) {
    expectAnswer(HostLaunch(), notGranted, 2);
    HostLaunch nobody;
    nobody.environment["DISPLAY"] = ":64999";
    expectAnswer(nobody, notGranted, 2);
}

TEST(PermissionCheck, IsAnsweredWithin3SecondsWhileTheServerHangs) {
    XServer server;
    server.freeze();
    const auto begin = std::chrono::steady_clock::now();
    expectAnswer(launchOn(server), notGranted, 2);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
    server.thaw();
}

TEST(PermissionCheck, KeepsItsStatusWhereNothingCanBePrinted) {
    const XServer server;
    for (const auto output : uselessOutputs) {
        HostLaunch launch = launchOn(server);
        launch.output = output;
        expectAnswer(launch, "", 0);
    }
    HostLaunch nobody;
    nobody.output = HostLaunch::Output::closed;
    expectAnswer(nobody, "", 2);
}

using PermissionCheckBesides = HostTest;

TEST_F(PermissionCheckBesides, WorksWhileAHostIsServing) {
    serve();
    expectAnswer(launchOn(server_), granted, 0);
    EXPECT_EQ(end(SIGTERM), endedInOrder);
}

}  // namespace

}  // namespace velmora
