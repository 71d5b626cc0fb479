#include "app/ViewerPermissionGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/ViewerAlertCatalogue.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/app/ScriptedApplicationShell.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Answer = std::shared_ptr<std::optional<bool>>;

constexpr const char* consent = "alert Allow Viewer Host to Share Displays?";
constexpr const char* missing = "alert Viewer Host Does Not Have Screen Recording Access";
constexpr const char* settings =
    "open x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

ViewerTask<void> ask(std::shared_ptr<ScriptedApplicationShell> shell,
                     std::shared_ptr<const ViewerTaskHandle> task, Answer answer) {
    const bool isAllowed = co_await ViewerPermissionGate::isAllowed(shell, task);
    *answer = isAllowed;
}

class ViewerPermissionGateTest : public testing::Test {
  public:
    ~ViewerPermissionGateTest() override {
        // A gate that still waits holds the shell.
        task_->cancel();
        shell_->access = false;
        shell_->answerPreflight(false);
        shell_->closeAlert();
        shell_->answerRequest(false);
        world_.runToEnd();
    }

  protected:
    Answer askGate() {
        auto answer = std::make_shared<std::optional<bool>>();
        task_->start(ask(shell_, task_, answer));
        world_.settle();
        return answer;
    }
    /// A user without the permission, who closes each alert by the given button.
    void withoutPermission(std::vector<std::size_t> presses) {
        shell_->access = false;
        shell_->presses = std::move(presses);
    }

    SimulatedWorld world_;
    std::shared_ptr<ScriptedApplicationShell> shell_ =
        std::make_shared<ScriptedApplicationShell>(world_);
    std::shared_ptr<ViewerTaskHandle> task_ =
        std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
};

TEST_F(ViewerPermissionGateTest, APermissionThatIsGrantedAlreadyShowsNoAlert) {
    EXPECT_EQ(*askGate(), true);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight"));
}

TEST_F(ViewerPermissionGateTest, CancelEndsItBeforeTheSystemIsAsked) {
    withoutPermission({1});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent));
}

TEST_F(ViewerPermissionGateTest, AConsentAlertThatCannotBeShownEndsItToo) {
    shell_->access = false;
    const Answer answer = askGate();
    shell_->closeAlert();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent, "close alert"));
}

TEST_F(ViewerPermissionGateTest, ContinueLetsTheSystemAskAndAGrantLetsTheHostOn) {
    withoutPermission({0});
    shell_->requestedAccess = true;
    EXPECT_EQ(*askGate(), true);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent, "request"));
}

TEST_F(ViewerPermissionGateTest, AGrantThatOnlyASecondPreflightSeesLetsTheHostOn) {
    shell_->access.reset();
    shell_->presses = {0};
    const Answer answer = askGate();
    shell_->answerPreflight(false);
    world_.settle();
    EXPECT_EQ(*answer, std::nullopt);
    shell_->answerPreflight(true);
    world_.settle();

    EXPECT_EQ(*answer, true);
    EXPECT_THAT(shell_->calls(),
                ElementsAre("preflight", "front", consent, "request", "preflight"));
}

TEST_F(ViewerPermissionGateTest, WithoutAGrantTheSettingsPageIsOpenedForWhoWantsIt) {
    withoutPermission({0, 0});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent, "request", "preflight",
                                             missing, settings));
}

TEST_F(ViewerPermissionGateTest, CloseOpensNothing) {
    withoutPermission({0, 1});
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(shell_->calls(),
                ElementsAre("preflight", "front", consent, "request", "preflight", missing));
}

TEST_F(ViewerPermissionGateTest, WhereThereIsNoSettingsPageTheOnlyButtonOpensNothing) {
    withoutPermission({0, 0});
    shell_->wording = ViewerAlertWording::linuxDesktop;
    EXPECT_EQ(*askGate(), false);
    EXPECT_THAT(shell_->calls(),
                ElementsAre("preflight", "front", consent, "request", "preflight", missing));
}

TEST_F(ViewerPermissionGateTest, TheAlertsAreThoseOfTheUsersLanguageAndMachine) {
    for (const auto wording : {ViewerAlertWording::mac, ViewerAlertWording::linuxDesktop}) {
        const ViewerAlertCatalogue catalogue("ru", wording);
        const auto shell = std::make_shared<ScriptedApplicationShell>(world_);
        shell->access = false;
        shell->presses = {0, 1};
        shell->language = "ru";
        shell->wording = wording;
        const auto answer = std::make_shared<std::optional<bool>>();
        const auto task = std::make_shared<ViewerTaskHandle>(world_.mainExecutor());
        task->start(ask(shell, task, answer));
        world_.settle();

        EXPECT_THAT(shell->alerts(),
                    ElementsAre(catalogue.consent(), catalogue.permissionMissing()));
    }
}

TEST_F(ViewerPermissionGateTest, ALocaleWithoutALanguageGetsEnglish) {
    withoutPermission({0, 1});
    shell_->language.reset();
    askGate();
    const ViewerAlertCatalogue english("en", ViewerAlertWording::mac);

    EXPECT_THAT(shell_->alerts(), ElementsAre(english.consent(), english.permissionMissing()));
}

TEST_F(ViewerPermissionGateTest, TheGateWaitsForEachAnswer) {
    shell_->access.reset();
    shell_->requestedAccess.reset();
    const Answer answer = askGate();
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight"));
    shell_->answerPreflight(false);
    world_.settle();
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent));
    shell_->press(0);
    world_.settle();
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent, "request"));
    EXPECT_EQ(*answer, std::nullopt);
    shell_->answerRequest(true);
    world_.settle();

    EXPECT_EQ(*answer, true);
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledDuringThePreflightShowsNothing) {
    shell_->access.reset();
    const Answer answer = askGate();
    shell_->answerPreflight(false);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(shell_->alerts(), IsEmpty());
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledAfterContinueMakesNoRequest) {
    shell_->access = false;
    const Answer answer = askGate();
    shell_->press(0);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "front", consent));
}

TEST_F(ViewerPermissionGateTest, OneThatIsCancelledDuringTheRequestShowsNoSecondAlert) {
    withoutPermission({0});
    shell_->requestedAccess.reset();
    const Answer answer = askGate();
    shell_->answerRequest(false);
    task_->cancel();
    world_.settle();

    EXPECT_EQ(*answer, false);
    EXPECT_EQ(shell_->alerts().size(), 1U);
}

}  // namespace

}  // namespace velmora
