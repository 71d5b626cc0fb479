#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fstream>
#include <sstream>

#include "app/linux/ViewerMachineName.h"
#include "core/protocol/ViewerHostListingJSON.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// Something else that listens on the host's port.
class Squatter final {
  public:
    Squatter() : descriptor_(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(HTTPClient::hostPort);
        const int isBound =
            ::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        EXPECT_EQ(isBound, 0);
        EXPECT_EQ(::listen(descriptor_, 1), 0);
    }
    ~Squatter() { ::close(descriptor_); }
    Squatter(const Squatter&) = delete;
    Squatter& operator=(const Squatter&) = delete;

  private:
    const int descriptor_;
};

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

TEST_F(StartUp, AHostWhosePortIsTakenEndsInSilence) {
    const Squatter squatter;
    HostProcess host(launchOn(server_));
    expectSilentEnd(host);
}

TEST_F(StartUp, ASecondHostEndsInSilenceAndTheFirstGoesOn) {
    serve();
    HostProcess second(launchOn(server_));
    expectSilentEnd(second);

    EXPECT_EQ(HTTPClient::get("/").status(), 404);
}

TEST_F(StartUp, AHostStartsAgainAtOnceAfterOneThatServed) {
    for (int run = 0; run < 3; ++run) {
        serve();
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        EXPECT_EQ(end(SIGTERM), endedInOrder);
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
    while (!host.awaitEnd(20ms)) {
        EXPECT_FALSE(HTTPClient().isConnected());
    }

    expectSilentEnd(host);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s);
    server_.thaw();
}

TEST_F(StartUp, ASignalWhileTheServerHangsEndsTheHostAtOnce) {
    server_.freeze();
    HostProcess host(launchOn(server_));
    // The host asks for its permission when it watches for signals already.
    ASSERT_TRUE(eventually([&] { return host.threadsNamed("permission") > 0; }));
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
