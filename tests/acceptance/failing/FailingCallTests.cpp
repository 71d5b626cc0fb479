#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/failing/FailingCallTest.h"
#include "tests/support/system/PortSquatter.h"

namespace velmora {

namespace {

constexpr FailingCallPlace x11Calls{ServedScreen::onX11, false, "Calls"};
constexpr FailingCallPlace x11Allocations{ServedScreen::onX11, true, "Allocations"};
constexpr FailingCallPlace waylandCalls{ServedScreen::onWayland, false, "WaylandCalls"};
constexpr FailingCallPlace waylandAllocations{ServedScreen::onWayland, true, "WaylandAllocations"};

std::string nameOf(const testing::TestParamInfo<FailingCallPlace>& info) {
    return info.param.name;
}

class FailingCalls : public FailingCallTest {
  protected:
    Complaint list() const {
        return exchange(
            "GET " + std::string(ViewerHostProtocolV1::displaysPath) + " HTTP/1.1\r\n\r\n", {200});
    }
};

TEST_P(FailingCalls, AListingIsRightOrEmptyOrCutOff) {
    tryAll([&](const CallFailure& failure, int k) {
        return tryServing(failure, k, [&] { return list(); });
    });
}

TEST_P(FailingCalls, AFirstFrameIsRightOrNotThere) {
    tryAll([&](const CallFailure& failure, int k) {
        return tryServing(failure, k, [&] { return askForFrame(); });
    });
}

TEST_P(FailingCalls, ARefusedRequestIsRefusedOrCutOff) {
    tryAll([&](const CallFailure& failure, int k) {
        return tryServing(failure, k, [&] { return exchange("GET / HTTP/1.1\r\n\r\n", {404}); });
    });
}

TEST_P(FailingCalls, AHeadThatIsTooLargeIsRefusedOrCutOff) {
    const std::string head = "GET / HTTP/1.1\r\nName: " + std::string(20'000, 'a');
    tryAll([&](const CallFailure& failure, int k) {
        return tryServing(failure, k, [&] { return exchange(head, {431}); });
    });
}

TEST_P(FailingCalls, ADroppedConnectionLeavesNothing) {
    tryAll([&](const CallFailure& failure, int k) {
        return tryServing(failure, k, [&] {
            HTTPClient client;
            client.send("GET /");
            client.reset();
            // The one after it, so that the host has seen it.
            return exchange("GET / HTTP/1.1\r\n\r\n", {404});
        });
    });
}

TEST_P(FailingCalls, AStartEndsInServingOrInOrderOrWithItsReason) {
    tryAll([&](const CallFailure& failure, int k) -> Complaint {
        calls_.begin(failure, k);
        HostLaunch started = launch();
        started.isOnTerminal = true;
        host_ = std::make_unique<HostProcess>(started);
        const auto line = host_->readLine();
        calls_.end();
        if (!line) {
            return complaintAboutEnd(failure, true);
        }
        if (const auto complaint = exchange("GET / HTTP/1.1\r\n\r\n", {404}); !complaint.empty()) {
            return complaint;
        }
        host_->signal(SIGTERM);
        return complaintAboutEnd(failure, GetParam().isAllocation);
    });
}

TEST_P(FailingCalls, AStopEndsInOrder) {
    tryAll([&](const CallFailure& failure, int k) -> Complaint {
        calls_.end();
        HostLaunch started = launch();
        const bool isAllocation = GetParam().isAllocation;
        started.isOnTerminal = isAllocation;
        serve(started);
        const HTTPClient waiting;
        if (!eventually([] { return frameOf(onlyId()).has_value(); })) {
            return "no frame before the stop";
        }
        calls_.begin(failure, k);
        host_->signal(SIGTERM);
        return complaintAboutEnd(failure, isAllocation);
    });
}

TEST_P(FailingCalls, AHostThatCannotListenEndsInOrderWhetherItsAlertShowsOrNot) {
    const PortSquatter squatter(HTTPClient::hostPort);
    tryAll([&](const CallFailure& failure, int k) -> Complaint {
        calls_.begin(failure, k);
        HostLaunch started = launch();
        started.isOnTerminal = true;
        host_ = std::make_unique<HostProcess>(started);
        return complaintAboutEnd(failure, true);
    });
}

TEST_P(FailingCalls, AStopWhileAnAlertShowsEndsInOrderAndWithTheAlert) {
    const PortSquatter squatter(HTTPClient::hostPort);
    showAlertsBy("exec cat");
    tryAll([&](const CallFailure& failure, int k) -> Complaint {
        calls_.end();
        HostLaunch started = launch();
        started.isOnTerminal = GetParam().isAllocation;
        host_ = std::make_unique<HostProcess>(started);
        if (!eventually([&] { return host_->children().size() == 1; })) {
            return "no alert shows";
        }
        const pid_t alert = host_->children().front();
        calls_.begin(failure, k);
        host_->signal(SIGTERM);
        const Complaint complaint = complaintAboutEnd(failure, GetParam().isAllocation);
        const bool hasEnded = eventually([&] { return ::kill(alert, 0) != 0; });
        return complaint.empty() && !hasEnded ? "the alert is still there" : complaint;
    });
}

class LackOfMemory : public FailingCalls {};

TEST_P(LackOfMemory, AHeadThatThereIsNoMemoryForIsTooLarge) {
    startServing();
    // What is kept of the head grows, its target is copied and its escapes are resolved.
    for (int k = 1;; ++k) {
        calls_.begin({"large new", ENOMEM}, k);
        const int status = HTTPClient::get(frameTarget(std::string(4'000, 'a'))).status();
        calls_.end();
        EXPECT_EQ(HTTPClient::get("/").status(), 404);
        if (calls_.made("large new") < k) {
            EXPECT_EQ(status, 404);
            EXPECT_GT(k, 3);
            return;
        }
        EXPECT_EQ(status, 431) << "allocation " << k;
    }
}

TEST_P(LackOfMemory, ADisplayWhosePictureThereIsNoMemoryForHasNoFrameUntilThereIs) {
    for (const CallFailure& failure : {CallFailure{"large new", ENOMEM}, {"jpeg", ENOMEM}}) {
        ASSERT_NO_FATAL_FAILURE(startServing());
        calls_.begin(failure, failure.call == "jpeg" ? 1 : firstPicture());
        EXPECT_EQ(HTTPClient::get(frameTarget(id_)).status(), 503) << failure.call;
        calls_.end();
        EXPECT_TRUE(eventually([&] { return frameOf(id_).has_value(); })) << failure.call;
        ASSERT_EQ(complaintAboutRest(failure), "");
    }
}

INSTANTIATE_TEST_SUITE_P(AlsoThen, LackOfMemory,
                         testing::Values(x11Allocations, waylandAllocations), nameOf);
INSTANTIATE_TEST_SUITE_P(EachInTurn, FailingCalls,
                         testing::Values(x11Calls, x11Allocations, waylandCalls,
                                         waylandAllocations),
                         nameOf);

}  // namespace

}  // namespace velmora
