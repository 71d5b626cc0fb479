#include "core/capture/linux/login/ViewerLoginSessionWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/bus/PrivateBus.h"
#include "tests/support/bus/ScriptedLoginManager.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// A watch on a bus of its own, where a login manager answers or none. Time passes when a test says
/// so.
class ViewerLoginSessionWatchTest : public testing::Test {
  public:
    ViewerLoginSessionWatchTest() { environment_.set("DBUS_SYSTEM_BUS_ADDRESS", bus_->address()); }
    ~ViewerLoginSessionWatchTest() override {
        watch_.reset();
        loop_.restart();
        loop_.poll();
        EXPECT_EQ(clock_->pendingTimers(), 0U) << "somebody still waits for something";
    }

  protected:
    void makeWatch() {
        watch_ = std::make_unique<ViewerLoginSessionWatch>(loop_.get_executor(), clock_,
                                                           [this] { ++ends_; });
    }
    /// A watch that knows its session, where there is one to be known.
    void watch() {
        makeWatch();
        pass(ViewerLoginSessionWatch::delay);
    }
    bool work() {
        loop_.restart();
        const bool isBusy = loop_.poll() != 0;
        return (manager_ && manager_->process()) || isBusy;
    }
    bool until(const std::function<bool()>& isDone) {
        constexpr std::chrono::seconds patience{30};
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!isDone()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            if (!work()) {
                ::poll(nullptr, 0, 1);
            }
        }
        return true;
    }
    /// Lets everything happen that does not wait for time.
    void settle() {
        // The bus serves everybody in turn: when it has answered twice, all that was sent before
        // has gone on. A question and its answer take one round, and a look some of these.
        constexpr int rounds = 16;
        for (int round = 0; round < rounds; ++round) {
            (void)work();
            if (bus_) {
                ping();
                ping();
            }
        }
    }
    void pass(ViewerContinuousClock::Duration time) {
        settle();
        clock_->advance(time);
        settle();
    }
    std::size_t timesAsked(const std::string& what) const {
        return static_cast<std::size_t>(
            std::count(manager_->asked.begin(), manager_->asked.end(), what));
    }
    /// How many connections the bus has, this function's own not among them.
    std::size_t connections() {
        const BusPeer observer(bus_->address(), {}, nullptr);
        sd_bus_message* reply = nullptr;
        (void)sd_bus_call_method(observer.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "ListNames", nullptr, &reply, "");
        std::size_t count = 0;
        const char* name = nullptr;
        sd_bus_message_enter_container(reply, 'a', "s");
        while (sd_bus_message_read(reply, "s", &name) > 0) {
            count += *name == ':' ? 1U : 0U;
        }
        sd_bus_message_unref(reply);
        return count - 1;
    }
    /// Something is announced, and looked at.
    void expectALook() {
        manager_->asked.clear();
        manager_->announceNewSession();
        settle();
        EXPECT_THAT(manager_->asked, ElementsAre("State"));
    }
    void expectNoEnd() {
        settle();
        EXPECT_EQ(ends_, 0);
    }
    void expectTheEnd() {
        EXPECT_TRUE(until([this] { return ends_ != 0; }));
        pass(1min);
        EXPECT_EQ(ends_, 1);
    }

    std::optional<PrivateBus> bus_{std::in_place};
    BorrowedEnvironment environment_;
    std::optional<ScriptedLoginManager> manager_{bus_->address()};
    boost::asio::io_context loop_;
    const std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::unique_ptr<ViewerLoginSessionWatch> watch_;
    int ends_ = 0;

  private:
    void ping() {
        BusPeer& peer = peer_ ? *peer_ : peer_.emplace(bus_->address(), noNames_, nullptr);
        sd_bus_message* reply = nullptr;
        (void)sd_bus_call_method(peer.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "GetId", nullptr, &reply, "");
        sd_bus_message_unref(reply);
    }

    const std::vector<std::string> noNames_;
    std::optional<BusPeer> peer_;
};

TEST_F(ViewerLoginSessionWatchTest, ASessionThatIsRemovedIsTheEnd) {
    watch();
    EXPECT_THAT(manager_->asked, ElementsAre("GetSession auto", "Remote", "State"));
    expectNoEnd();
    manager_->endSession();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatClosesUnannouncedEndsWhenAnotherOneBegins) {
    watch();
    manager_->state = "closing";
    expectNoEnd();
    manager_->announceNewSession();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatClosesEndsWithTheNextChangeThatIsToldOfIt) {
    watch();
    manager_->state = "closing";
    manager_->tellChange();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, OtherSessionsMayComeAndGo) {
    watch();
    manager_->state = "online";
    manager_->announceNewSession();
    manager_->announceRemovedSession();
    manager_->tellChange();
    expectNoEnd();
    EXPECT_EQ(timesAsked("State"), 4U);
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatIsClosingAtTheStartIsTheEnd) {
    manager_->state = "closing";
    watch();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatGoesWhileItIsLookedForIsTheEnd) {
    manager_->isGone = true;
    watch();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, NobodyIsAskedDuringTheStart) {
    makeWatch();
    pass(ViewerLoginSessionWatch::delay - 1ms);
    EXPECT_THAT(manager_->asked, IsEmpty());
    pass(1ms);
    EXPECT_EQ(timesAsked("State"), 1U);
}

TEST_F(ViewerLoginSessionWatchTest, AManagerThatIsRestartedTakesNoSessionAlong) {
    watch();
    manager_.reset();
    pass(1min);
    manager_.emplace(bus_->address());
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    expectNoEnd();
    expectALook();
    manager_->endSession();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatTheRestartedManagerDoesNotKnowIsTheEnd) {
    watch();
    manager_.reset();
    expectNoEnd();
    manager_.emplace(bus_->address()).isGone = true;
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AManagerThatComesLaterIsAskedThen) {
    manager_.reset();
    watch();
    pass(1min);
    manager_.emplace(bus_->address());
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    manager_->endSession();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AManagerThatDoesNotAnswerIsNoEndAndIsAskedAgain) {
    manager_->isMute = true;
    watch();
    pass(1min);
    expectNoEnd();
    manager_->isMute = false;
    manager_->announceNewSession();
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    manager_->isMute = true;
    manager_->announceNewSession();
    pass(1min);
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AProcessThatBelongsToNoSessionIsNotGivenALaterOne) {
    settle();
    const std::size_t before = connections();
    manager_->refusal = "org.freedesktop.login1.NoSessionForPID";
    watch();
    EXPECT_EQ(connections(), before) << "there is nothing to listen for";
    manager_->refusal.clear();
    manager_->announceNewSession();
    manager_->endSession();
    expectNoEnd();
    EXPECT_THAT(manager_->asked, ElementsAre("GetSession auto"));
}

TEST_F(ViewerLoginSessionWatchTest, AManagerThatIsNotAllowedToTellIsAskedAgain) {
    manager_->refusal = SD_BUS_ERROR_ACCESS_DENIED;
    watch();
    manager_->refusal.clear();
    manager_->announceNewSession();
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
}

TEST_F(ViewerLoginSessionWatchTest, ASessionOverTheNetworkSaysNothingOfAScreenHere) {
    manager_->isRemote = true;
    watch();
    manager_->endSession();
    expectNoEnd();
    EXPECT_THAT(manager_->asked, ElementsAre("GetSession auto", "Remote"));
}

TEST_F(ViewerLoginSessionWatchTest, ABusThatEndsIsNoEndAndIsLookedForAgain) {
    watch();
    manager_.reset();
    bus_->kill();
    bus_.reset();
    for (int i = 0; i < 5; ++i) {
        pass(ViewerLoginSessionWatch::interval);
    }
    expectNoEnd();
    EXPECT_EQ(clock_->pendingTimers(), 1U);

    const PrivateBus next;
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", next.address());
    manager_.emplace(next.address());
    pass(ViewerLoginSessionWatch::interval);
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    expectNoEnd();
    manager_->state = "closing";
    manager_->tellChange();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, WhereThereIsNoSystemBusNothingIsWaitedFor) {
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    watch();
    EXPECT_EQ(clock_->pendingTimers(), 0U);
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AManagerIsNotStartedToBeAsked) {
    const TemporaryFolder folder;
    manager_.reset();
    bus_.emplace(PrivateBus::Services{
        {ScriptedLoginManager::name, "/usr/bin/touch " + (folder.path() / "started").string()}});
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", bus_->address());
    watch();
    EXPECT_EQ(folder.entries(), 0U);
}

TEST_F(ViewerLoginSessionWatchTest, AnEndThatShowsInSeveralWaysIsToldOnce) {
    watch();
    manager_->state = "closing";
    manager_->tellChange();
    manager_->announceRemovedSession();
    manager_->endSession();
    expectTheEnd();
}

TEST_F(ViewerLoginSessionWatchTest, ADestroyedWatchTellsNothingMore) {
    watch();
    manager_->state = "closing";
    manager_->isMute = true;
    manager_->announceNewSession();
    settle();
    EXPECT_EQ(clock_->pendingTimers(), 1U) << "an answer is waited for";
    watch_.reset();
    manager_->isMute = false;
    manager_->endSession();
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AWatchThatIsDestroyedDuringTheStartAsksNobody) {
    makeWatch();
    watch_.reset();
    pass(1min);
    EXPECT_THAT(manager_->asked, IsEmpty());
}

}  // namespace
}  // namespace velmora
