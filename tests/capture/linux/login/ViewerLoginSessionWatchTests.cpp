#include "core/capture/linux/login/ViewerLoginSessionWatch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>

#include "tests/capture/linux/login/LoginSessionOnBus.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class ViewerLoginSessionWatchTest : public LoginSessionOnBus {};

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

TEST_F(ViewerLoginSessionWatchTest, AManagerThatTalksNonsenseIsNoEndAndIsAskedAgain) {
    manager_->talksNonsense = true;
    watch();
    expectNoEnd();
    EXPECT_THAT(manager_->asked, ElementsAre("GetSession auto"));
    manager_->talksNonsense = false;
    manager_->announceNewSession();
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
    manager_->talksNonsense = true;
    manager_->announceNewSession();
    expectNoEnd();
}

TEST_F(ViewerLoginSessionWatchTest, AManagerThatDoesNotTellWhereASessionIsIsAskedAgain) {
    makeWatch();
    clock_->advance(ViewerLoginSessionWatch::delay);
    EXPECT_TRUE(until([this] { return timesAsked("GetSession auto") != 0; }));
    manager_->talksNonsense = true;
    settle();
    EXPECT_THAT(manager_->asked, ElementsAre("GetSession auto", "Remote"));
    manager_->talksNonsense = false;
    manager_->announceNewSession();
    EXPECT_TRUE(until([this] { return timesAsked("State") != 0; }));
}

TEST_F(ViewerLoginSessionWatchTest, ASessionThatIsFoundTwiceIsWatchedOnce) {
    makeWatch();
    clock_->advance(ViewerLoginSessionWatch::delay);
    EXPECT_TRUE(until([this] { return timesAsked("GetSession auto") != 0; }));
    manager_->announceNewSession();
    settle();
    EXPECT_EQ(timesAsked("GetSession auto"), 2U) << "the first look is not over yet";
    manager_->asked.clear();
    manager_->tellChange();
    settle();
    EXPECT_THAT(manager_->asked, ElementsAre("State"));
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

}  // namespace
}  // namespace velmora
