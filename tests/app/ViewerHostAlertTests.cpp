#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

#include "app/ViewerAlertCatalogue.h"
#include "tests/app/LaunchedHost.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const ViewerAlertCatalogue catalogue("en", ViewerAlertWording::mac);

TEST(ViewerHostAlerts, CancelEndsTheApplicationWithoutAServer) {
    LaunchedHost host;
    host.ask();
    EXPECT_THAT(host.shell->ends(), IsEmpty());
    host.alerts->press(1);
    host.world.settle();

    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
    EXPECT_THAT(host.transport->requestedPorts, IsEmpty());
    EXPECT_EQ(host.alerts->shown().size(), 1U);
}

TEST(ViewerHostAlerts, ContinueAndAGrantBringTheServerUp) {
    LaunchedHost host;
    host.capture->seenAccess = ViewerCaptureAccess::requestable;
    host.alerts->presses = {0};
    host.capture->requestedAccess = true;
    host.serve();

    EXPECT_EQ(host.shell->lines().size(), 1U);
    EXPECT_THAT(host.alerts->shown(), ElementsAre(catalogue.consent()));
}

TEST(ViewerHostAlerts, CloseEndsTheApplicationWithoutAServer) {
    LaunchedHost host;
    host.ask();
    host.alerts->press(0);
    host.world.settle();
    EXPECT_THAT(host.shell->ends(), IsEmpty());
    host.alerts->press(1);
    host.world.settle();

    EXPECT_THAT(host.alerts->shown(),
                ElementsAre(catalogue.consent(),
                            catalogue.permissionMissing(ViewerCaptureAccess::requestable)));
    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
    EXPECT_THAT(host.transport->requestedPorts, IsEmpty());
}

TEST(ViewerHostAlerts, AServerThatDidNotStartIsToldOfInTheErrorsOwnWords) {
    LaunchedHost host;
    host.fail();

    EXPECT_THAT(host.alerts->shown(),
                ElementsAre(catalogue.didNotStart("Viewer Host could not start: TCP port 9090: "
                                                  "Address already in use")));
    EXPECT_EQ(host.calls().at(host.calls().size() - 2), "front");
    EXPECT_THAT(host.shell->ends(), IsEmpty());
}

TEST(ViewerHostAlerts, AListenerThatCannotBeMadeIsToldOfAsThePlatformSaysIt) {
    LaunchedHost host;
    host.transport->creationError = "no sockets";
    host.alerts->givenLanguage = "ru";
    host.launch();

    EXPECT_THAT(
        host.alerts->shown(),
        ElementsAre(ViewerAlertCatalogue("ru", ViewerAlertWording::mac).didNotStart("no sockets")));
}

TEST(ViewerHostAlerts, TheApplicationEndsOnceTheDidNotStartAlertIsDismissed) {
    LaunchedHost host;
    host.fail();
    host.world.advance(1h);
    EXPECT_THAT(host.shell->ends(), IsEmpty());
    host.alerts->press(0);
    host.world.settle();

    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
    EXPECT_THAT(host.shell->lines(), IsEmpty());
}

TEST(ViewerHostAlerts, ASignalClosesTheConsentAlertAndNothingMoreIsAsked) {
    LaunchedHost host;
    host.ask();
    host.shell->raise(SIGTERM);
    host.world.settle();

    EXPECT_FALSE(host.alerts->isShowing());
    EXPECT_EQ(host.alerts->shown().size(), 1U);
    EXPECT_EQ(host.shell->terminationRequests(), 1U);
    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
}

TEST(ViewerHostAlerts, ASignalClosesTheSecondAlert) {
    LaunchedHost host;
    host.ask();
    host.alerts->press(0);
    host.world.settle();
    ASSERT_EQ(host.alerts->shown().size(), 2U);
    host.shell->raise(SIGINT);
    host.world.settle();

    EXPECT_FALSE(host.alerts->isShowing());
    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
}

TEST(ViewerHostAlerts, ASignalClosesTheDidNotStartAlert) {
    LaunchedHost host;
    host.fail();
    host.shell->raise(SIGTERM);
    host.world.settle();

    EXPECT_FALSE(host.alerts->isShowing());
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostAlerts, ASignalRightBehindContinueMakesNoRequest) {
    LaunchedHost host;
    host.ask();
    host.shell->raise(SIGTERM);
    host.alerts->press(0);
    host.world.runToEnd();

    EXPECT_THAT(host.calls(), testing::Not(testing::Contains("request")));
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostAlerts, AQuitDuringAnAlertIsHandledWhenItHasClosed) {
    LaunchedHost host;
    host.ask();
    host.shell->quit();
    host.world.advance(10s);
    EXPECT_TRUE(host.alerts->isShowing());
    EXPECT_THAT(host.shell->ends(), IsEmpty());
    host.alerts->press(0);
    host.world.settle();

    EXPECT_THAT(host.shell->ends(), ElementsAre(host.world.now()));
    EXPECT_THAT(host.calls(), testing::Not(testing::Contains("request")));
    EXPECT_EQ(host.alerts->shown().size(), 1U);
}

TEST(ViewerHostAlerts, AQuitDuringTheDidNotStartAlertIsHandledWhenItHasClosed) {
    LaunchedHost host;
    host.fail();
    host.shell->quit();
    host.world.advance(10s);
    EXPECT_TRUE(host.alerts->isShowing());
    host.alerts->press(0);
    host.world.settle();

    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostAlerts, AStartThatFailsAfterTheSignalShowsNoAlert) {
    LaunchedHost host;
    host.launch();
    // The failure is on its way when the application is asked to quit.
    host.listener().change(ViewerListenerState::failed, "Address already in use");
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.world.runToEnd();

    EXPECT_THAT(host.alerts->shown(), IsEmpty());
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostAlerts, APermissionThatIsRefusedAfterTheSignalShowsNoAlert) {
    LaunchedHost host;
    host.capture->seenAccess.reset();
    host.launch();
    host.capture->answerLooks(ViewerCaptureAccess::requestable);
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.world.runToEnd();

    EXPECT_THAT(host.alerts->shown(), IsEmpty());
}

}  // namespace

}  // namespace velmora
