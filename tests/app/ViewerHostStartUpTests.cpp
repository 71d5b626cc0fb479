#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/app/LaunchedHost.h"

namespace velmora {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(ViewerHostStartUp, SignalsAreWatchedBeforeThePermissionIsLookedAtAndTheServerIsMadeLast) {
    LaunchedHost host;
    EXPECT_THAT(host.calls(), IsEmpty());
    host.launch();

    EXPECT_THAT(host.calls(), ElementsAre("watch SIGINT", "watch SIGTERM", "look", "watch session",
                                          "machine name"));
}

TEST(ViewerHostStartUp, NothingIsOpenedBeforeThePermissionIsKnown) {
    LaunchedHost host;
    host.capture->seenAccess.reset();
    host.launch();
    EXPECT_EQ(host.capture->heldLooks.size(), 1U);
    EXPECT_THAT(host.transport->listeners, IsEmpty());

    host.capture->answerLooks(ViewerCaptureAccess::granted);
    host.world.settle();
    EXPECT_TRUE(host.listener().isStarted());
}

TEST(ViewerHostStartUp, AHostThatWasAskedToQuitBeforeItHasBegunDoesNotBegin) {
    LaunchedHost host;
    EXPECT_EQ(host.delegate->applicationShouldTerminate(), ViewerTerminateReply::cancel);
    host.launch();
    host.world.runToEnd();

    EXPECT_THAT(host.calls(), Not(Contains("look")));
    EXPECT_THAT(host.transport->listeners, IsEmpty());
    EXPECT_EQ(host.shell->ends().size(), 1U);
}

TEST(ViewerHostStartUp, TheServerListensOnPort9090) {
    LaunchedHost host;
    host.launch();

    EXPECT_THAT(host.transport->requestedPorts, ElementsAre(9090));
}

TEST(ViewerHostStartUp, TheListeningLineIsPrintedOnceTheListenerIsReady) {
    LaunchedHost host;
    host.launch();
    EXPECT_THAT(host.shell->lines(), IsEmpty());
    host.listener().becomeReady(9090);
    host.world.settle();

    EXPECT_THAT(host.shell->lines(),
                ElementsAre("Velmora Viewer Host protocol v1 listening on TCP 9090"));
    EXPECT_THAT(host.shell->ends(), IsEmpty());
}

TEST(ViewerHostStartUp, TheLineNamesThePortThatWasBound) {
    LaunchedHost host;
    host.serve(65535);

    EXPECT_THAT(host.shell->lines(),
                ElementsAre("Velmora Viewer Host protocol v1 listening on TCP 65535"));
}

TEST(ViewerHostStartUp, TheListingCarriesTheMachinesName) {
    LaunchedHost host;
    host.capture->isGranted = false;
    host.serve();
    const auto peer = host.listener().connect();
    peer->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    host.world.settle();

    ASSERT_EQ(peer->messages().size(), 1U);
    EXPECT_THAT(peer->messages()[0], HasSubstr(R"("machineName":"Studio")"));
}

TEST(ViewerHostStartUp, AMachineWithoutANameIsCalledMac) {
    LaunchedHost host;
    host.shell->name.reset();
    host.capture->isGranted = false;
    host.serve();
    const auto peer = host.listener().connect();
    peer->send("GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    host.world.settle();

    ASSERT_EQ(peer->messages().size(), 1U);
    EXPECT_THAT(peer->messages()[0], HasSubstr(R"("machineName":"Mac")"));
}

}  // namespace

}  // namespace velmora
