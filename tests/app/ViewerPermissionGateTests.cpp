#include "app/ViewerPermissionGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/ViewerAlertCatalogue.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/app/ScriptedAlertPresenter.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Answer = std::shared_ptr<std::optional<bool>>;

constexpr const char* consent = "alert Allow Viewer Host to Share Displays?";
constexpr const char* missing = "alert Viewer Host Does Not Have Screen Recording Access";
constexpr const char* settings =
    "open x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

ViewerTask<void> ask(std::shared_ptr<FakeScreenCapture> capture,
                     std::shared_ptr<ScriptedAlertPresenter> alerts,
                     std::shared_ptr<ViewerContinuousClock> clock,
                     std::shared_ptr<const ViewerTaskHandle> task, Answer answer) {
    const bool isAllowed = co_await ViewerPermissionGate::isAllowed(capture, alerts, clock, task);
    *answer = isAllowed;
}

class ViewerPermissionGateTest : public testing::Test {
  public:
    ~ViewerPermissionGateTest() override {
        // A gate that still waits holds what it waits for.
        task_->cancel();
        capture_->seenAccess = ViewerCaptureAccess::requestable;
        capture_->answerLooks(ViewerCaptureAccess::requestable);
        alerts_->close();
        capture_->answerRequests(false);
        world_.runToEnd();
    }

  protected:
    Answer askGate() {
        auto answer = std::make_shared<std::optional<bool>>();
        task_->start(ask(capture_, alerts_, borrowedClock(world_), task_, answer));
        world_.settle();
        return answer;
    }
    /// A user without the permission, who closes each alert by the given button.
    void withoutPermission(std::vector<std::size_t> presses) {
        capture_->seenAccess = ViewerCaptureAccess::requestable;
        alerts_->presses = std::move(presses);
    }

    SimulatedWorld world_;
    const CallLog calls_ = makeCallLog();
    std::shared_ptr<ScriptedAlertPresenter> alerts_ =
        std::make_shared<ScriptedAlertPresenter>(calls_);
    std::shared_ptr<FakeScreenCapture> capture_ = std::make_shared<FakeScreenCapture>(calls_);
    std::shared_ptr<ViewerTaskHandle> task_ =
        std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
};

TEST_F(ViewerPermissionGateTest, APermissionThatIsGrantedAlreadyShowsNoAlert) {
    EXPECT_EQ(*askGate(), true);
    EXPECT_THAT(*calls_, ElementsAre("look"));
}

TEST_F(ViewerPermissionGateTest, ALookThatIsNotAnsweredWithinItsLimitIsToldOf) {
    capture_->seenAccess.reset();
    const Answer answer = askGate();
    world_.advance(ViewerScreenCapture::lookLimit - std::chrono::nanoseconds(1));
    EXPECT_THAT(*calls_, ElementsAre("look"));
    world_.advance(std::chrono::nanoseconds(1));
    const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::mac);
    EXPECT_THAT(alerts_->shown(),
                ElementsAre(catalogue.permissionMissing(ViewerCaptureAccess::noAnswer)));

    capture_->answerLooks(ViewerCaptureAccess::granted);
    alerts_->press(1);
    world_.settle();
    EXPECT_THAT(*calls_, ElementsAre("look", "front", missing));
    EXPECT_EQ(*answer, false);
}

TEST_F(ViewerPermissionGateTest, WhereNobodyCanBeAskedTheReasonIsToldAtOnce) {
    for (const auto reason :
         {ViewerCaptureAccess::sessionRefuses, ViewerCaptureAccess::remoteDisplay,
          ViewerCaptureAccess::waylandSession, ViewerCaptureAccess::noAnswer}) {
        calls_->clear();
        const auto alerts = std::make_shared<ScriptedAlertPresenter>(calls_);
        alerts->presses = {0};
        alerts->givenWording = ViewerAlertWording::linuxDesktop;
        capture_->seenAccess = reason;
        const auto answer = std::make_shared<std::optional<bool>>();
        const auto task = std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
        task->start(ask(capture_, alerts, borrowedClock(world_), task, answer));
        world_.settle();

        EXPECT_EQ(*answer, false);
        EXPECT_THAT(*calls_, ElementsAre("look", "front", missing));
        const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::linuxDesktop);
        EXPECT_THAT(alerts->shown(), ElementsAre(catalogue.permissionMissing(reason)));
    }
}

TEST_F(ViewerPermissionGateTest, AReasonThatOnlyTheSecondLookFindsIsTheOneThatIsTold) {
    for (const auto reason :
         {ViewerCaptureAccess::sessionRefuses, ViewerCaptureAccess::declined,
          ViewerCaptureAccess::portalMissing, ViewerCaptureAccess::portalWithoutScreens,
          ViewerCaptureAccess::portalSilent, ViewerCaptureAccess::noWholeScreen}) {
        calls_->clear();
        const auto alerts = std::make_shared<ScriptedAlertPresenter>(calls_);
        alerts->presses = {0, 0};
        alerts->givenWording = ViewerAlertWording::kde;
        capture_->seenAccess.reset();
        const auto answer = std::make_shared<std::optional<bool>>();
        const auto task = std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
        task->start(ask(capture_, alerts, borrowedClock(world_), task, answer));
        world_.settle();
        capture_->answerLooks(ViewerCaptureAccess::requestable);
        world_.settle();
        capture_->answerLooks(reason);
        world_.settle();

        EXPECT_EQ(*answer, false);
        EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request", "look", missing));
        const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::kde);
        EXPECT_EQ(alerts->shown().back(), catalogue.permissionMissing(reason));
    }
}

TEST_F(ViewerPermissionGateTest, CancelEndsItBeforeTheSystemIsAsked) {
    withoutPermission({1});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent));
}

TEST_F(ViewerPermissionGateTest, AConsentAlertThatCannotBeShownEndsItToo) {
    capture_->seenAccess = ViewerCaptureAccess::requestable;
    const Answer answer = askGate();
    alerts_->close();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "close alert"));
}

TEST_F(ViewerPermissionGateTest, ContinueLetsTheSystemAskAndAGrantLetsTheHostOn) {
    withoutPermission({0});
    capture_->requestedAccess = true;
    EXPECT_EQ(*askGate(), true);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request"));
}

TEST_F(ViewerPermissionGateTest, AGrantThatOnlyASecondLookSeesLetsTheHostOn) {
    capture_->seenAccess.reset();
    alerts_->presses = {0};
    const Answer answer = askGate();
    capture_->answerLooks(ViewerCaptureAccess::requestable);
    world_.settle();
    EXPECT_EQ(*answer, std::nullopt);
    capture_->answerLooks(ViewerCaptureAccess::granted);
    world_.settle();

    EXPECT_EQ(*answer, true);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request", "look"));
}

TEST_F(ViewerPermissionGateTest, WithoutAGrantTheSettingsPageIsOpenedForWhoWantsIt) {
    withoutPermission({0, 0});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(*calls_,
                ElementsAre("look", "front", consent, "request", "look", missing, settings));
}

TEST_F(ViewerPermissionGateTest, CloseOpensNothing) {
    withoutPermission({0, 1});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request", "look", missing));
}

TEST_F(ViewerPermissionGateTest, WhereThereIsNoSettingsPageTheOnlyButtonOpensNothing) {
    withoutPermission({0, 0});
    alerts_->givenWording = ViewerAlertWording::linuxDesktop;
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request", "look", missing));
}

TEST_F(ViewerPermissionGateTest, TheAlertsAreThoseOfTheUsersLanguageAndMachine) {
    for (const auto wording : {ViewerAlertWording::mac, ViewerAlertWording::linuxDesktop}) {
        const ViewerAlertCatalogue catalogue("ru", wording);
        const auto alerts = std::make_shared<ScriptedAlertPresenter>(calls_);
        capture_->seenAccess = ViewerCaptureAccess::requestable;
        alerts->presses = {0, 1};
        alerts->givenLanguage = "ru";
        alerts->givenWording = wording;
        const auto answer = std::make_shared<std::optional<bool>>();
        const auto task = std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
        task->start(ask(capture_, alerts, borrowedClock(world_), task, answer));
        world_.settle();

        EXPECT_THAT(alerts->shown(),
                    ElementsAre(catalogue.consent(),
                                catalogue.permissionMissing(ViewerCaptureAccess::requestable)));
    }
}

TEST_F(ViewerPermissionGateTest, ALocaleWithoutALanguageGetsEnglish) {
    withoutPermission({0, 1});
    alerts_->givenLanguage.reset();
    askGate();
    const ViewerAlertCatalogue english("en", ViewerAlertWording::mac);

    EXPECT_THAT(alerts_->shown(),
                ElementsAre(english.consent(),
                            english.permissionMissing(ViewerCaptureAccess::requestable)));
}

TEST_F(ViewerPermissionGateTest, TheGateWaitsForEachAnswer) {
    capture_->seenAccess.reset();
    capture_->requestedAccess.reset();
    const Answer answer = askGate();
    EXPECT_THAT(*calls_, ElementsAre("look"));
    capture_->answerLooks(ViewerCaptureAccess::requestable);
    world_.settle();
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent));
    alerts_->press(0);
    world_.settle();
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent, "request"));
    EXPECT_EQ(*answer, std::nullopt);
    capture_->answerRequests(true);
    world_.settle();

    EXPECT_EQ(*answer, true);
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledDuringTheLookShowsNothing) {
    capture_->seenAccess.reset();
    const Answer answer = askGate();
    capture_->answerLooks(ViewerCaptureAccess::requestable);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(alerts_->shown(), IsEmpty());
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledAfterContinueMakesNoRequest) {
    capture_->seenAccess = ViewerCaptureAccess::requestable;
    const Answer answer = askGate();
    alerts_->press(0);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(*calls_, ElementsAre("look", "front", consent));
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledDuringTheRequestShowsNoSecondAlert) {
    withoutPermission({0});
    capture_->requestedAccess.reset();
    const Answer answer = askGate();
    capture_->answerRequests(false);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_EQ(alerts_->shown().size(), 1U);
}

}  // namespace

}  // namespace velmora
