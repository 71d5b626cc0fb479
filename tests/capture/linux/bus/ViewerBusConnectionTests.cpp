#include "core/capture/linux/bus/ViewerBusConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/capture/linux/wayland/portal/PortalOnBus.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {
namespace {

using testing::ElementsAre;

std::size_t descriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/// Asks the bus for something that it answers.
ViewerTask<void> answered(std::shared_ptr<ViewerBusConnection> connection) {
    ViewerBusMessage call = connection->makeCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                 "org.freedesktop.DBus", "GetId");
    constexpr std::chrono::seconds limit{1};
    (void)co_await connection->call(std::move(call), limit);
}

/// Listens where a bus should, and says what a test says.
class FalseBus final {
  public:
    FalseBus() : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = folder_.path() / "bus";
        std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
        viewerCheck(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                        ::listen(listener_, 1) == 0,
                    "a socket can be listened on");
    }
    ~FalseBus() {
        ::close(listener_);
        if (client_ >= 0) {
            ::close(client_);
        }
    }
    FalseBus(const FalseBus&) = delete;
    FalseBus& operator=(const FalseBus&) = delete;

    std::string address() const { return "unix:path=" + (folder_.path() / "bus").string(); }
    void say(const std::string& text) {
        client_ = client_ < 0 ? ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC) : client_;
        viewerCheck(::send(client_, text.data(), text.size(), MSG_NOSIGNAL) ==
                        static_cast<ssize_t>(text.size()),
                    "a client of a bus takes what it is told");
    }

  private:
    const TemporaryFolder folder_;
    const int listener_;
    int client_ = -1;
};

class ViewerBusConnectionTest : public PortalOnBus {
  protected:
    std::shared_ptr<ViewerBusConnection> open() {
        return ViewerBusConnection::open(ViewerBusConnection::Bus::session, loop_.get_executor(),
                                         clock_);
    }
};

TEST_F(ViewerBusConnectionTest, ABusThatTalksNonsenseIsNone) {
    for (const char* const text :
         {"nonsense\r\nnonsense\r\nnonsense\r\n", "DATA\r\nREJECTED EXTERNAL\r\nERROR\r\n",
          "DATA\r\nOK not-hexadecimal\r\nAGREE_UNIX_FD\r\n"}) {
        FalseBus bus;
        environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
        makeConsent();
        request();
        loop_.restart();
        loop_.poll();
        bus.say(text);
        EXPECT_TRUE(until([this] { return !answers_.empty(); })) << text;
        EXPECT_THAT(answers_, ElementsAre(Access::portalMissing));
    }
}

TEST_F(ViewerBusConnectionTest, ABusThatTalksNonsenseOnceItIsConnectedIsNone) {
    FalseBus bus;
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    request();
    loop_.poll();
    bus.say("DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n" +
            std::string(64, '\x7f'));
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
}

TEST_F(ViewerBusConnectionTest, ABusThatSaysNothingIsGivenUpAfterAMinute) {
    FalseBus bus;
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    request();
    loop_.poll();
    clock_->advance(ViewerContinuousClock::Duration(std::chrono::seconds(60)));
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    EXPECT_THAT(answers_, ElementsAre(Access::portalSilent));
}

TEST_F(ViewerBusConnectionTest, AServiceThatCannotBeStartedIsMissing) {
    const PrivateBus bus(
        PrivateBus::Services{{"org.freedesktop.portal.Desktop", "/nonexistent/portal"}});
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    EXPECT_EQ(answerToRequest(), Access::portalMissing);
}

TEST_F(ViewerBusConnectionTest, AServiceThatEndsWhenItIsStartedDoesNotWork) {
    const PrivateBus bus(PrivateBus::Services{{"org.freedesktop.portal.Desktop", "/bin/false"}});
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    EXPECT_EQ(answerToRequest(), Access::portalSilent);
}

TEST_F(ViewerBusConnectionTest, NothingStartsAServiceOnlyToBeClosed) {
    const TemporaryFolder folder;
    const PrivateBus bus(
        PrivateBus::Services{{"org.freedesktop.portal.Desktop",
                              "/usr/bin/touch " + (folder.path() / "started").string()}});
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    portal_.emplace(bus);
    makeConsent();
    openDialog();
    portal_->leave();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    settle();
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(ViewerBusConnectionTest, NothingIsLeftOfAConnectionThatIsClosed) {
    // The first connection leaves what the library and the loop keep.
    grant();
    makeConsent();
    settle();
    const std::size_t before = descriptors();
    for (int i = 0; i < 3; ++i) {
        grant();
        ::close(remote().value_or(-1));
        makeConsent();
        settle();
    }
    EXPECT_EQ(descriptors(), before);
}

TEST_F(ViewerBusConnectionTest, AConnectionThatNobodyHasAnyMoreIsClosed) {
    open()->close();  // leaves what the library and the loop keep
    const std::size_t before = descriptors();
    auto connection = open();
    ASSERT_NE(connection, nullptr);
    EXPECT_GT(descriptors(), before);
    connection.reset();
    EXPECT_EQ(descriptors(), before);
}

TEST_F(ViewerBusConnectionTest, WhatHappensElsewhereOnTheBusWakesNobody) {
    grant();
    loop_.restart();
    EXPECT_EQ(loop_.poll(), 0U);
    for (int i = 0; i < 20; ++i) {
        BusPeer passer(bus_.address(), {"com.example.Passer"}, nullptr);
        passer.emit("", "/com/example", "com.example.Passer", "Passed", nullptr);
        portal_->ping();
    }
    loop_.restart();
    EXPECT_EQ(loop_.poll(), 0U);
}

TEST_F(ViewerBusConnectionTest, EachOfTwoThatListenToASignalIsTold) {
    const auto connection = open();
    ASSERT_NE(connection, nullptr);
    const std::string rule = "type='signal',interface='com.example.Passer'";
    int told = 0;
    const auto tell = [&told](sd_bus_message*) { ++told; };
    const auto one = connection->subscribe(rule, tell);
    const auto other = connection->subscribe(rule, tell);
    settle();

    BusPeer passer(bus_.address(), {"com.example.Passer"}, nullptr);
    passer.emit("", "/com/example", "com.example.Passer", "Passed", nullptr);
    settle();

    EXPECT_EQ(told, 2);
    connection->close();
}

TEST_F(ViewerBusConnectionTest, AFloodOfSignalsLeavesOthersOfTheLoopTheirTurn) {
    constexpr int all = 200;
    const auto connection = open();
    ASSERT_NE(connection, nullptr);
    int told = 0;
    const auto subscription = connection->subscribe("type='signal',interface='com.example.Passer'",
                                                    [&told](sd_bus_message*) { ++told; });
    settle();
    BusPeer passer(bus_.address(), {"com.example.Passer"}, nullptr);
    for (int i = 0; i < all; ++i) {
        passer.emit("", "/com/example", "com.example.Passer", "Passed", nullptr);
    }
    sd_bus_flush(passer.bus());
    // A bus passes on a few of them at a time, between two answers.
    for (int i = 0; i < all; ++i) {
        portal_->ping();
    }

    int mostAtOnce = 0;
    const auto isAllTold = [&] {
        loop_.restart();
        const int before = told;
        (void)loop_.poll_one();
        mostAtOnce = std::max(mostAtOnce, told - before);
        return told == all;
    };
    EXPECT_TRUE(until(isAllTold));
    EXPECT_LT(mostAtOnce, all);
    connection->close();
}

TEST_F(ViewerBusConnectionTest, AConnectionHasANameFromTheFirstAnswerOfTheBusOnUntilItIsLost) {
    const auto connection = open();
    ASSERT_NE(connection, nullptr);
    EXPECT_EQ(connection->uniqueName(), "");
    std::optional<std::string> lastName;
    const auto subscription =
        connection->subscribe("type='signal',interface='org.freedesktop.DBus.Local'",
                              [&](sd_bus_message*) { lastName = connection->uniqueName(); });
    (void)startTask(loop_.get_executor(), answered(connection));
    EXPECT_TRUE(until([&] { return !connection->uniqueName().empty(); }));
    bus_.kill();
    portal_.reset();
    EXPECT_TRUE(until([&] { return lastName.has_value(); }));
    EXPECT_EQ(lastName, "");
}

TEST_F(ViewerBusConnectionTest, AConnectionThatTheLoopCannotWaitForIsNone) {
    open()->close();  // leaves what the library and the loop keep
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = ::dup(0);
    ::close(next);
    rlimit few = before;
    few.rlim_cur = static_cast<rlim_t>(next) + 1;  // the library takes the only one that is left
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const auto connection = open();
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(connection, nullptr);
}

TEST_F(ViewerBusConnectionTest, ACallOnAClosedConnectionIsAnsweredAtOnce) {
    const auto connection = open();
    ASSERT_NE(connection, nullptr);
    connection->close();
    EXPECT_EQ(connection->makeCall("a.b", "/", "a.b", "c"), nullptr);
    EXPECT_EQ(connection->uniqueName(), "");
    connection->send(nullptr);
    EXPECT_EQ(connection->subscribe("type='signal'", nullptr), nullptr);
    loop_.restart();
    loop_.poll();
}

}  // namespace
}  // namespace velmora
