#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include "tests/support/bus/PrivateBus.h"
#include "tests/support/bus/ScriptedLoginManager.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

XServer::Options guardedServer() {
    XServer::Options options;
    options.isAuthorityRequired = true;
    return options;
}

/// One person after another at one machine, whose port is one of a kind. Each has the same display
/// with a cookie of their own.
class SeveralPeople : public HostTest {
  protected:
    SeveralPeople() : HostTest(guardedServer()) {}

    /// The host of whoever has the display now.
    HostLaunch logIn() {
        const auto cookie = home_.path() / std::to_string(++people_);
        std::filesystem::copy_file(server_.authorityFile(), cookie);
        HostLaunch launch = launchOn(server_);
        launch.environment["XAUTHORITY"] = cookie;
        launch.environment["DBUS_SYSTEM_BUS_ADDRESS"] = bus_.address();
        return launch;
    }
    void logInAndServe() {
        logins_.asked.clear();
        serve(logIn());
        EXPECT_TRUE(eventually([this] {
            (void)logins_.process();
            return !logins_.asked.empty() && logins_.asked.back() == "State";
        }));
    }
    std::optional<HostEnd> awaitEnd() {
        std::optional<HostEnd> end;
        EXPECT_TRUE(eventually([&] {
            (void)logins_.process();
            end = host_->awaitEnd(std::chrono::milliseconds(1));
            return end.has_value();
        }));
        return end;
    }
    bool isServing() {
        (void)logins_.process();
        const std::string id = idOf("screen");
        return !id.empty() && frameOf(id).has_value();
    }

    const PrivateBus bus_;
    ScriptedLoginManager logins_{bus_.address()};

  private:
    const TemporaryFolder home_;
    int people_ = 0;
};

TEST_F(SeveralPeople, AHostEndsWithItsLoginThoughTheDisplayStaysAndTheNextOneServes) {
    logInAndServe();
    logins_.endSession();
    EXPECT_EQ(awaitEnd(), endedInOrder);

    logins_.isGone = false;
    logInAndServe();
    EXPECT_TRUE(isServing());
}

TEST_F(SeveralPeople, AHostOfASessionThatOnlyClosesEndsWhenTheNextPersonLogsIn) {
    logInAndServe();
    logins_.state = "closing";
    EXPECT_TRUE(isServing());
    logins_.announceNewSession();
    EXPECT_EQ(awaitEnd(), endedInOrder);

    logins_.state = "active";
    logInAndServe();
    EXPECT_TRUE(isServing());
}

TEST_F(SeveralPeople, WithoutALoginManagerAHostEndsWhenTheDisplayIsAnothers) {
    HostLaunch launch = logIn();
    launch.environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nonexistent";
    serve(launch);
    server_.kill();
    server_.restartForAnother();
    EXPECT_EQ(awaitEnd(), endedInOrder);

    logInAndServe();
    EXPECT_TRUE(isServing());
}

TEST_F(SeveralPeople, ALoginAndADisplayThatEndTogetherAreOneOrderlyEnd) {
    logInAndServe();
    logins_.endSession();
    server_.kill();
    server_.restartForAnother();
    EXPECT_EQ(awaitEnd(), endedInOrder);
    EXPECT_EQ(host_->readToEnd(), "");
}

TEST_F(SeveralPeople, WhoServesFirstGoesOnBesideAnAlertThatEndsWithTheSecondLogin) {
    logInAndServe();
    const PrivateBus bus;
    ScriptedLoginManager logins(bus.address());
    HostLaunch launch = logIn();
    launch.environment["DBUS_SYSTEM_BUS_ADDRESS"] = bus.address();
    HostProcess second(launch);
    EXPECT_TRUE(eventually([&] { return second.children().size() == 1; }));
    logins.endSession();
    std::optional<HostEnd> end;
    EXPECT_TRUE(eventually([&] {
        (void)logins.process();
        end = second.awaitEnd(std::chrono::milliseconds(1));
        return end.has_value();
    }));
    EXPECT_EQ(end, endedInOrder) << "nothing starts it again";
    EXPECT_EQ(second.readToEnd(), "");

    EXPECT_TRUE(isServing());
}

}  // namespace

}  // namespace velmora
