#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "app/linux/ViewerMachineName.h"
#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

void expectSilentEnd(HostProcess& host) {
    EXPECT_EQ(host.readToEnd(), "");
    EXPECT_EQ(host.awaitEnd(), endedInOrder);
}

class StartUp : public HostTest {};

TEST_F(StartUp, TheListeningLineIsTheOnlyOutput) {
    serve();
    EXPECT_EQ(end(SIGTERM), endedInOrder);
    EXPECT_EQ(host_->readToEnd(), "");
}

TEST_F(StartUp, TheHostIsReachedWhenItsLineIsThere) {
    serve();
    EXPECT_TRUE(HTTPClient().isConnected());
}

TEST_F(StartUp, AHostStartsAgainAtOnceAfterOneThatServed) {
    for (int run = 0; run < 3; ++run) {
        serve();
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        EXPECT_EQ(end(SIGTERM), endedInOrder);
    }
}

TEST_F(StartUp, WhatOnlyWaylandNeedsIsNotLoadedOnX11) {
    serve();
    ASSERT_TRUE(frameOf(listDisplays().value().front().id).has_value());
    std::ifstream maps("/proc/" + std::to_string(host_->id()) + "/maps");
    const std::string loaded{std::istreambuf_iterator<char>(maps), {}};

    EXPECT_THAT(loaded, testing::HasSubstr("libxcb.so"));
    for (const char* const library : {"libpipewire", "libdbus", "libQt"}) {
        EXPECT_THAT(loaded, testing::Not(testing::HasSubstr(library)));
    }
}

TEST_F(StartUp, WithoutADisplayTheHostEndsInSilence) {
    HostProcess host{HostLaunch()};
    expectSilentEnd(host);
}

TEST_F(StartUp, WithoutThePermissionTheHostEndsInSilence) {
    XServer::Options options;
    options.isAuthorityRequired = true;
    const XServer guarded(options);
    HostLaunch launch = launchOn(guarded);
    launch.environment["XAUTHORITY"] = "/dev/null";
    HostProcess host(launch);
    expectSilentEnd(host);
}

TEST_F(StartUp, ThePortStaysClosedUntilThePermissionIsKnown) {
    server_.freeze();
    const auto begin = std::chrono::steady_clock::now();
    HostProcess host(launchOn(server_));
    // An answer that does not come counts as a refusal, which the host would then tell of.
    while (std::chrono::steady_clock::now() - begin < 3s) {
        EXPECT_EQ(host.awaitEnd(20ms), std::nullopt);
        EXPECT_FALSE(HTTPClient().isConnected());
    }

    host.signal(SIGTERM);
    expectSilentEnd(host);
    server_.thaw();
}

TEST_F(StartUp, ASignalWhileTheServerHangsEndsTheHostAtOnce) {
    server_.freeze();
    HostProcess host(launchOn(server_));
    // The host asks for its permission when it watches for signals already.
    ASSERT_TRUE(eventually([&] { return host.threadsNamed("x11-permission") > 0; }));
    const auto begin = std::chrono::steady_clock::now();
    host.signal(SIGTERM);

    EXPECT_EQ(host.awaitEnd(), endedInOrder);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    server_.thaw();
}

TEST_F(StartUp, AHostWhoseOutputIsClosedFullOrBrokenServesAllTheSame) {
    for (const auto output : uselessOutputs) {
        HostLaunch launch = launchOn(server_);
        launch.output = output;
        host_ = std::make_unique<HostProcess>(launch);
        EXPECT_TRUE(eventually([] { return HTTPClient().isConnected(); }));
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        const auto displays = listDisplays();
        ASSERT_TRUE(displays.has_value());
        EXPECT_EQ(displays->size(), 1U);
        EXPECT_EQ(end(SIGTERM), endedInOrder);
    }
}

TEST_F(StartUp, WithoutAStandardOutputNothingOfTheHostsTakesItsPlace) {
    HostLaunch launch = launchOn(server_);
    launch.output = HostLaunch::Output::closed;
    host_ = std::make_unique<HostProcess>(launch);
    ASSERT_TRUE(eventually([] { return HTTPClient().isConnected(); }));

    EXPECT_EQ(host_->descriptorTarget(STDOUT_FILENO), "/dev/null");
}

TEST_F(StartUp, TheListingNamesTheMachine) {
    std::ostringstream machineInfo;
    machineInfo << std::ifstream("/etc/machine-info").rdbuf();
    std::array<char, 256> hostName{};
    ASSERT_EQ(::gethostname(hostName.data(), hostName.size() - 1), 0);
    serve();
    const HTTPAnswer answer = HTTPClient::get(ViewerHostProtocolV1::displaysPath);
    const auto listing = ViewerHostListingJSON::decodeListing(answer.body());

    ASSERT_TRUE(listing.has_value());
    const auto pretty = ViewerMachineName::prettyHostName(machineInfo.str());
    EXPECT_EQ(listing->machineName, pretty.value_or(hostName.data()));
}

}  // namespace

}  // namespace velmora
