#include "app/linux/ViewerAlertEnvironment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

namespace {

using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

class ViewerAlertEnvironmentTest : public testing::Test {
  protected:
    ViewerAlertEnvironmentTest() {
        given_.set("XDG_RUNTIME_DIR", "/run/user/1");
        given_.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/bus");
    }

    BorrowedEnvironment given_;
};

TEST_F(ViewerAlertEnvironmentTest, IsTheHostsOwnWhereNothingIsMissing) {
    given_.set("VIEWER_TEST", "kept");
    const ViewerAlertEnvironment environment;

    EXPECT_THAT(environment.variables(),
                IsSupersetOf({"VIEWER_TEST=kept", "XDG_RUNTIME_DIR=/run/user/1",
                              "DBUS_SESSION_BUS_ADDRESS=unix:path=/bus"}));
    EXPECT_THAT(environment.privateFolder(), IsEmpty());
}

TEST_F(ViewerAlertEnvironmentTest, PassesOnNoSessionManagerAndNoSocketOfACompositor) {
    given_.set("SESSION_MANAGER", "local/host");
    given_.set("WAYLAND_SOCKET", "7");
    const ViewerAlertEnvironment environment;

    EXPECT_THAT(environment.variables(), Each(Not(StartsWith("SESSION_MANAGER="))));
    EXPECT_THAT(environment.variables(), Each(Not(StartsWith("WAYLAND_SOCKET="))));
}

TEST_F(ViewerAlertEnvironmentTest, WithoutASessionBusHasADisabledOne) {
    for (const std::optional<std::string>& missing : {std::optional<std::string>(), {""}}) {
        given_.set("DBUS_SESSION_BUS_ADDRESS", missing);
        const ViewerAlertEnvironment environment;
        EXPECT_THAT(environment.variables(), Contains("DBUS_SESSION_BUS_ADDRESS=disabled:"));
        EXPECT_THAT(environment.variables(), Not(Contains("DBUS_SESSION_BUS_ADDRESS=")));
    }
}

TEST_F(ViewerAlertEnvironmentTest, WithoutARuntimeFolderHasAPrivateOneWhileItLives) {
    for (const std::optional<std::string>& missing : {std::optional<std::string>(), {""}}) {
        given_.set("XDG_RUNTIME_DIR", missing);
        std::string folder;
        {
            const ViewerAlertEnvironment environment;
            folder = environment.privateFolder();
            EXPECT_THAT(environment.variables(), Contains("XDG_RUNTIME_DIR=" + folder));
            EXPECT_THAT(environment.variables(), Not(Contains("XDG_RUNTIME_DIR=")));
            struct stat found{};
            ASSERT_EQ(::stat(folder.c_str(), &found), 0);
            EXPECT_EQ(found.st_mode, S_IFDIR | S_IRWXU);
            std::ofstream(folder + "/something") << "left by the program";
        }
        EXPECT_FALSE(std::filesystem::exists(folder));
    }
}

TEST_F(ViewerAlertEnvironmentTest, DoesWithoutAFolderWhereNoneCanBeMade) {
    given_.set("XDG_RUNTIME_DIR", std::nullopt);
    given_.set("TMPDIR", "/nonexistent");
    const ViewerAlertEnvironment environment;

    EXPECT_THAT(environment.privateFolder(), IsEmpty());
    EXPECT_THAT(environment.variables(), Each(Not(StartsWith("XDG_RUNTIME_DIR="))));
}

TEST_F(ViewerAlertEnvironmentTest, VariablesOfItsOwnStandInPlaceOfTheHosts) {
    given_.set("WAYLAND_DISPLAY", "wayland-0");
    given_.set("WAYLAND_DISPLAY_OTHER", "kept");
    const ViewerAlertEnvironment environment({"WAYLAND_DISPLAY=", "VIEWER_TEST=a=b"});

    EXPECT_THAT(
        environment.variables(),
        IsSupersetOf({"WAYLAND_DISPLAY=", "WAYLAND_DISPLAY_OTHER=kept", "VIEWER_TEST=a=b"}));
    EXPECT_THAT(environment.variables(), Not(Contains("WAYLAND_DISPLAY=wayland-0")));
}

TEST_F(ViewerAlertEnvironmentTest, AGraphicalSessionNamesItsDisplay) {
    given_.set("WAYLAND_DISPLAY", "");
    given_.set("DISPLAY", std::nullopt);
    EXPECT_FALSE(ViewerAlertEnvironment::hasGraphicalSession({}));
    EXPECT_TRUE(ViewerAlertEnvironment::hasGraphicalSession({"WAYLAND_DISPLAY=wayland-0"}));
    given_.set("DISPLAY", ":7");
    EXPECT_TRUE(ViewerAlertEnvironment::hasGraphicalSession({}));
    given_.set("DISPLAY", "");
    given_.set("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_TRUE(ViewerAlertEnvironment::hasGraphicalSession({}));
    EXPECT_FALSE(ViewerAlertEnvironment::hasGraphicalSession({"WAYLAND_DISPLAY="}));
}

}  // namespace

}  // namespace velmora
