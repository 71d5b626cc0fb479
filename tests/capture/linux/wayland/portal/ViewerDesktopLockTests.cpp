#include "core/capture/linux/wayland/portal/ViewerDesktopLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using LockState = ViewerSessionLock::State;

constexpr const char* gnome = "org.gnome.ScreenSaver";
constexpr const char* freedesktop = "org.freedesktop.ScreenSaver";
constexpr const char* login = "org.freedesktop.login1";
constexpr const char* loginSession = "/org/freedesktop/login1/session/_32";

/// A lock beside services that a test brings along. The system's bus is one of its own.
class ViewerDesktopLockTest : public PortalOnBus {
  public:
    ViewerDesktopLockTest() {
        environment_.set("DBUS_SYSTEM_BUS_ADDRESS", system_.address());
        lock_ = std::make_shared<ViewerDesktopLock>(sessionBus_, systemBus_, loop_.get_executor());
    }
    ~ViewerDesktopLockTest() override { lock_->end(); }

  protected:
    /// A screen saver that says `isActive_`, or nothing.
    BusPeer& addScreenSaver(const std::string& name) {
        return *others_.emplace_back(std::make_unique<BusPeer>(
            bus_.address(), std::vector<std::string>{name}, [this](sd_bus_message* call) {
                asked_.emplace_back(sd_bus_message_get_interface(call));
                if (!error_.empty()) {
                    sd_bus_reply_method_errorf(call, error_.c_str(), "no");
                } else if (isActive_) {
                    sd_bus_reply_method_return(call, "b", *isActive_ ? 1 : 0);
                }
            }));
    }
    BusPeer& addLoginManager() {
        return *others_.emplace_back(std::make_unique<BusPeer>(
            system_.address(), std::vector<std::string>{login}, [this](sd_bus_message* call) {
                asked_.emplace_back(sd_bus_message_get_member(call));
                if (asked_.back() == "GetSession") {
                    sd_bus_reply_method_return(call, "o", loginSession);
                } else if (isActive_) {
                    sd_bus_reply_method_return(call, "v", "b", *isActive_ ? 1 : 0);
                }
            }));
    }
    void ask() {
        lock_->ask([this](LockState state) { said_.push_back(state); });
    }
    LockState state() {
        said_.clear();
        ask();
        EXPECT_TRUE(until([this] { return !said_.empty(); }));
        return said_.empty() ? LockState::unknown : said_.front();
    }
    void watch() {
        lock_->watch([this](bool isLocked) { told_.push_back(isLocked); });
        // Who has answered has also been told what to listen for.
        (void)state();
    }
    static void tellActive(BusPeer& saver, const std::string& name, bool isActive) {
        saver.emit("", "/ScreenSaver", name, "ActiveChanged", [&](sd_bus_message* signal) {
            sd_bus_message_append(signal, "b", isActive ? 1 : 0);
        });
    }
    static void tellHint(BusPeer& manager, const char* interface, const char* property,
                         bool isLocked) {
        manager.emit("", loginSession, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                     [&](sd_bus_message* signal) {
                         sd_bus_message_append(signal, "sa{sv}as", interface, 2, "IdleHint", "t",
                                               std::uint64_t{5}, property, "b", isLocked ? 1 : 0,
                                               0);
                     });
    }

    PrivateBus system_;
    const std::shared_ptr<ViewerLazyBus> sessionBus_ = std::make_shared<ViewerLazyBus>(
        ViewerBusConnection::Bus::session, loop_.get_executor(), clock_);
    const std::shared_ptr<ViewerLazyBus> systemBus_ = std::make_shared<ViewerLazyBus>(
        ViewerBusConnection::Bus::system, loop_.get_executor(), clock_);
    std::shared_ptr<ViewerDesktopLock> lock_;
    std::optional<bool> isActive_ = false;
    std::string error_;
    std::vector<std::string> asked_;
    std::vector<LockState> said_;
    std::vector<bool> told_;
};

TEST_F(ViewerDesktopLockTest, AScreenSaverSaysWhetherTheSessionIsLocked) {
    for (const char* const name : {gnome, freedesktop}) {
        addScreenSaver(name);
        isActive_ = false;
        EXPECT_EQ(state(), LockState::unlocked);
        isActive_ = true;
        EXPECT_EQ(state(), LockState::locked);
        others_.clear();
    }
    EXPECT_THAT(asked_, ElementsAre(gnome, gnome, freedesktop, freedesktop));
}

TEST_F(ViewerDesktopLockTest, AScreenSaverThatCannotTellLeavesItToTheNext) {
    addScreenSaver(gnome);
    error_ = "org.freedesktop.DBus.Error.NotSupported";
    addLoginManager();
    isActive_ = true;
    EXPECT_EQ(state(), LockState::locked);
    EXPECT_THAT(asked_, ElementsAre(gnome, "GetSession", "Get"));
}

TEST_F(ViewerDesktopLockTest, TheLoginManagerIsAskedWhereThereIsNoScreenSaver) {
    addLoginManager();
    EXPECT_EQ(state(), LockState::unlocked);
    isActive_ = true;
    EXPECT_EQ(state(), LockState::locked);
    EXPECT_THAT(asked_, ElementsAre("GetSession", "Get", "Get"));
}

TEST_F(ViewerDesktopLockTest, TheLoginManagerIsLeftAloneWhereThereIsAScreenSaver) {
    addScreenSaver(gnome);
    addLoginManager();
    watch();
    EXPECT_THAT(asked_, ElementsAre(gnome, gnome));
}

TEST_F(ViewerDesktopLockTest, WithoutAnybodyWhoCouldTellASessionIsNotLocked) {
    EXPECT_EQ(state(), LockState::unlocked);
    system_.kill();
    EXPECT_EQ(state(), LockState::unlocked);
}

TEST_F(ViewerDesktopLockTest, AScreenSaverThatDoesNotAnswerLeavesItUnknown) {
    addScreenSaver(gnome);
    isActive_.reset();
    ask();
    EXPECT_TRUE(until([this] { return !asked_.empty(); }));
    pass(3999ms);
    EXPECT_THAT(said_, IsEmpty());
    pass(1ms);
    EXPECT_THAT(said_, ElementsAre(LockState::unknown));
}

TEST_F(ViewerDesktopLockTest, AScreenSaverThatEndsInsteadOfAnAnswerLeavesItUnknown) {
    addScreenSaver(gnome);
    isActive_.reset();
    ask();
    EXPECT_TRUE(until([this] { return !asked_.empty(); }));
    others_.clear();
    EXPECT_TRUE(until([this] { return !said_.empty(); }));
    EXPECT_THAT(said_, ElementsAre(LockState::unknown));
}

TEST_F(ViewerDesktopLockTest, AnAnswerOfAnotherTypeTellsNothing) {
    others_.push_back(std::make_unique<BusPeer>(
        bus_.address(), std::vector<std::string>{gnome},
        [](sd_bus_message* call) { sd_bus_reply_method_return(call, "s", "locked"); }));
    EXPECT_EQ(state(), LockState::unlocked);
}

TEST_F(ViewerDesktopLockTest, ALockAndAnUnlockAreTold) {
    for (const std::string name : {gnome, freedesktop}) {
        BusPeer& saver = addScreenSaver(name);
        if (told_.empty()) {
            watch();
        }
        told_.clear();
        tellActive(saver, name, true);
        tellActive(saver, name, false);
        EXPECT_TRUE(until([this] { return told_.size() == 2; }));
        EXPECT_THAT(told_, ElementsAre(true, false));
    }
}

TEST_F(ViewerDesktopLockTest, TheHintOfTheLoginManagerIsToldWhereThereIsNoScreenSaver) {
    BusPeer& manager = addLoginManager();
    watch();
    tellHint(manager, "org.freedesktop.login1.Seat", "LockedHint", true);
    tellHint(manager, "org.freedesktop.login1.Session", "Active", true);
    tellHint(manager, "org.freedesktop.login1.Session", "LockedHint", true);
    tellHint(manager, "org.freedesktop.login1.Session", "LockedHint", false);
    EXPECT_TRUE(until([this] { return told_.size() == 2; }));
    EXPECT_THAT(told_, ElementsAre(true, false));
}

TEST_F(ViewerDesktopLockTest, TheHintOfTheLoginManagerIsToldWithoutASessionBusToo) {
    environment_.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    BusPeer& manager = addLoginManager();
    watch();
    tellHint(manager, "org.freedesktop.login1.Session", "LockedHint", true);
    EXPECT_TRUE(until([this] { return !told_.empty(); }));
    EXPECT_THAT(told_, ElementsAre(true));
}

TEST_F(ViewerDesktopLockTest, AScreenSaverThatTellsNoTruthTellsNothing) {
    BusPeer& saver = addScreenSaver(gnome);
    watch();
    saver.emit("", "/ScreenSaver", gnome, "ActiveChanged",
               [](sd_bus_message* signal) { sd_bus_message_append(signal, "s", "active"); });
    tellActive(saver, gnome, true);
    EXPECT_TRUE(until([this] { return !told_.empty(); }));
    EXPECT_THAT(told_, ElementsAre(true));
}

TEST_F(ViewerDesktopLockTest, ALoginManagerThatTellsNoHintTellsNothing) {
    BusPeer& manager = addLoginManager();
    watch();
    const auto tell = [&manager](const std::function<void(sd_bus_message*)>& write) {
        manager.emit("", loginSession, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                     write);
    };
    constexpr const char* interface = "org.freedesktop.login1.Session";
    tell([](sd_bus_message*) {});
    tell([](sd_bus_message* signal) { sd_bus_message_append(signal, "u", 5); });
    tell([](sd_bus_message* signal) { sd_bus_message_append(signal, "ss", interface, "x"); });
    tell([](sd_bus_message* signal) {
        sd_bus_message_append(signal, "sa{sv}", interface, 1, "LockedHint", "s", "locked");
    });
    tell([](sd_bus_message* signal) {
        sd_bus_message_append(signal, "sa{sv}", interface, 2, "LockedHint", "u", 0, "LockedHint",
                              "b", 1);
    });
    EXPECT_TRUE(until([this] { return !told_.empty(); }));
    EXPECT_THAT(told_, ElementsAre(true));
}

TEST_F(ViewerDesktopLockTest, WhoOnlyAsksIsToldNoChange) {
    BusPeer& manager = addLoginManager();
    EXPECT_EQ(state(), LockState::unlocked);
    tellHint(manager, "org.freedesktop.login1.Session", "LockedHint", true);
    settle();
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(ViewerDesktopLockTest, AfterTheEndNothingIsTold) {
    BusPeer& saver = addScreenSaver(gnome);
    watch();
    said_.clear();
    ask();
    lock_->end();
    tellActive(saver, gnome, true);
    settle();
    EXPECT_THAT(told_, IsEmpty());
    EXPECT_THAT(said_, IsEmpty());
}

TEST_F(ViewerDesktopLockTest, NoServiceIsStartedToBeAsked) {
    const TemporaryFolder folder;
    const std::string command = "/usr/bin/touch " + (folder.path() / "started").string();
    const PrivateBus bus(
        PrivateBus::Services{{gnome, command}, {freedesktop, command}, {login, command}});
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus.address());
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", bus.address());
    watch();
    EXPECT_EQ(state(), LockState::unlocked);
    settle();
    EXPECT_EQ(folder.entries(), 0U);
}

}  // namespace
}  // namespace velmora
