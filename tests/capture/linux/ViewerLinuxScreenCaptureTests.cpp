#include "core/capture/linux/ViewerLinuxScreenCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/capture/linux/AnsweringCompositor.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/runtime/CallLog.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Access = ViewerCaptureAccess;

constexpr std::chrono::seconds generous{30};

/// One capture for each kind of session, both scripted; the Wayland one's calls are kept apart.
class ViewerLinuxScreenCaptureTest : public testing::Test {
  protected:
    ViewerLinuxScreenCaptureTest() { wayland_->seenAccess = Access::declined; }

    std::shared_ptr<ViewerLinuxScreenCapture> captureOf(const ViewerLinuxSession& session) {
        return std::make_shared<ViewerLinuxScreenCapture>(
            session, x11_,
            [this](const std::string& compositor) {
                waylandCalls_->push_back("make " + compositor);
                return wayland_;
            },
            [this](std::function<void()> ended) {
                loginEnded_ = std::move(ended);
                return std::make_shared<int>();
            });
    }
    /// What a look finds; nothing when it finds nothing in time.
    static std::optional<Access> seen(ViewerScreenCapture& capture) {
        const auto answer = std::make_shared<std::promise<Access>>();
        std::future<Access> result = answer->get_future();
        capture.lookAtAccess([answer](Access access) { answer->set_value(access); });
        return result.wait_for(generous) == std::future_status::ready ? std::optional(result.get())
                                                                      : std::nullopt;
    }

    const CallLog x11Calls_ = makeCallLog();
    const CallLog waylandCalls_ = makeCallLog();
    const std::shared_ptr<FakeScreenCapture> x11_ = std::make_shared<FakeScreenCapture>(x11Calls_);
    std::shared_ptr<FakeScreenCapture> wayland_ =
        std::make_shared<FakeScreenCapture>(waylandCalls_);
    /// Tells that the person has logged out; set while that is watched.
    std::function<void()> loginEnded_;
};

TEST_F(ViewerLinuxScreenCaptureTest, TheEndOfTheScreensOrOfTheLoginIsToldOnceWhicheverIsFirst) {
    for (const bool isLoginFirst : {true, false}) {
        const auto capture = captureOf({.type = "x11", .x11Display = ":7"});
        ASSERT_EQ(seen(*capture), Access::granted);
        int ends = 0;
        capture->watchSession([&] { ++ends; });
        EXPECT_EQ(ends, 0);
        isLoginFirst ? loginEnded_() : x11_->endSession();
        EXPECT_EQ(ends, 1);
        isLoginFirst ? x11_->endSession() : loginEnded_();
        EXPECT_EQ(ends, 1);
    }
}

TEST_F(ViewerLinuxScreenCaptureTest, AnX11SessionIsX11sAlsoBesideANestedCompositor) {
    const AnsweringCompositor nested;
    const auto capture =
        captureOf({.type = "x11", .x11Display = ":7", .waylandDisplay = nested.displayName()});
    for (const Access access : {Access::sessionRefuses, Access::granted}) {
        x11_->seenAccess = access;
        EXPECT_EQ(seen(*capture), access);
    }

    EXPECT_THAT(*x11Calls_, ElementsAre("look", "look"));
    EXPECT_THAT(*waylandCalls_, IsEmpty());
    EXPECT_THAT(capture->sessionVariables(), ElementsAre("WAYLAND_DISPLAY="));
}

TEST_F(ViewerLinuxScreenCaptureTest, AnXServerThatIsNotTheSessionsOwnGivesWayToTheCompositor) {
    const AnsweringCompositor compositor;
    for (const Access access : {Access::waylandSession, Access::remoteDisplay, Access::noAnswer}) {
        x11_->seenAccess = access;
        const auto capture = captureOf(
            {.type = "x11", .x11Display = ":7", .waylandDisplay = compositor.displayName()});
        EXPECT_EQ(seen(*capture), Access::requestable);
        EXPECT_THAT(capture->sessionVariables(),
                    ElementsAre("WAYLAND_DISPLAY=" + compositor.displayName()));
    }
}

TEST_F(ViewerLinuxScreenCaptureTest, WithoutACompositorTheXServerIsAskedOnceWhateverItAnswers) {
    const TemporaryFolder empty;
    for (const char* const type : {"x11", "wayland"}) {
        for (const std::string& folder : {std::string(), empty.path().string()}) {
            for (const Access access : {Access::waylandSession, Access::remoteDisplay,
                                        Access::noAnswer, Access::granted}) {
                x11Calls_->clear();
                x11_->seenAccess = access;
                const auto capture =
                    captureOf({.type = type, .x11Display = ":7", .runtimeFolder = folder});
                EXPECT_EQ(seen(*capture), access);
                EXPECT_THAT(*x11Calls_, ElementsAre("look"));
                EXPECT_THAT(*waylandCalls_, IsEmpty());
            }
        }
    }
}

TEST_F(ViewerLinuxScreenCaptureTest, WithoutAnyDisplayTheXServersAnswerIsTheSessions) {
    x11_->seenAccess = Access::sessionRefuses;
    const auto capture = captureOf({});

    EXPECT_EQ(seen(*capture), Access::sessionRefuses);
    EXPECT_THAT(capture->sessionVariables(), IsEmpty());
}

TEST_F(ViewerLinuxScreenCaptureTest, WithoutAPlaceToLookForCompositorsTheAnswerIsThereAtOnce) {
    const auto capture = captureOf({.x11Display = ":7"});
    const auto answering = std::make_shared<std::promise<std::thread::id>>();
    std::future<std::thread::id> thread = answering->get_future();
    capture->lookAtAccess([answering](Access access) {
        EXPECT_EQ(access, Access::granted);
        answering->set_value(std::this_thread::get_id());
    });

    EXPECT_EQ(thread.get(), std::this_thread::get_id());
}

TEST_F(ViewerLinuxScreenCaptureTest, TheOnlyCompositorOfTheRuntimeFolderIsTheSessions) {
    const AnsweringCompositor compositor;
    const auto capture =
        captureOf({.x11Display = ":7",
                   .runtimeFolder = std::filesystem::path(compositor.displayName()).parent_path()});

    EXPECT_EQ(seen(*capture), Access::requestable);
    EXPECT_THAT(*x11Calls_, IsEmpty());
    EXPECT_THAT(capture->sessionVariables(),
                ElementsAre("WAYLAND_DISPLAY=" + compositor.displayName()));
}

TEST_F(ViewerLinuxScreenCaptureTest, ACompositorThatIsNamedButNotThereIsToldOf) {
    const auto capture = captureOf({.x11Display = ":7", .waylandDisplay = "/nonexistent"});

    EXPECT_EQ(seen(*capture), Access::waylandSession);
    EXPECT_THAT(*x11Calls_, IsEmpty());
    EXPECT_THAT(*waylandCalls_, IsEmpty());
    EXPECT_THAT(capture->sessionVariables(), IsEmpty());
}

TEST_F(ViewerLinuxScreenCaptureTest, InAWaylandSessionTheFirstLookAsksNobody) {
    const AnsweringCompositor compositor;
    const auto capture = captureOf({.waylandDisplay = compositor.displayName()});

    EXPECT_EQ(seen(*capture), Access::requestable);
    EXPECT_THAT(*waylandCalls_, IsEmpty());
}

TEST_F(ViewerLinuxScreenCaptureTest, InAWaylandSessionTheCompositorsCaptureDoesEverythingElse) {
    const AnsweringCompositor compositor;
    const auto capture = captureOf({.waylandDisplay = compositor.displayName()});
    ASSERT_EQ(seen(*capture), Access::requestable);
    std::optional<bool> isGranted;
    capture->requestAccess([&](bool granted) { isGranted = granted; });
    EXPECT_EQ(isGranted, false);
    EXPECT_EQ(seen(*capture), Access::declined);
    capture->watchSession([] {});

    EXPECT_THAT(*waylandCalls_, ElementsAre("make " + compositor.displayName(), "request", "look",
                                            "watch session"));
    EXPECT_THAT(*x11Calls_, IsEmpty());
}

TEST_F(ViewerLinuxScreenCaptureTest, WithARequestThatIsWithdrawnGoesTheCaptureThatMadeIt) {
    const AnsweringCompositor compositor;
    const auto capture = captureOf({.waylandDisplay = compositor.displayName()});
    ASSERT_EQ(seen(*capture), Access::requestable);
    wayland_->requestedAccess.reset();
    const std::weak_ptr<FakeScreenCapture> asking = wayland_;
    capture->requestAccess([](bool) { ADD_FAILURE() << "nobody has answered"; });
    wayland_ = nullptr;
    ASSERT_FALSE(asking.expired());
    capture->withdrawRequest();
    EXPECT_TRUE(asking.expired());
    capture->withdrawRequest();
    EXPECT_TRUE(capture->preflightAccess());

    EXPECT_THAT(*waylandCalls_, ElementsAre("make " + compositor.displayName(), "request"));
}

TEST_F(ViewerLinuxScreenCaptureTest, ACaptureWhoseRequestIsAnsweredStays) {
    const AnsweringCompositor compositor;
    const auto capture = captureOf({.waylandDisplay = compositor.displayName()});
    ASSERT_EQ(seen(*capture), Access::requestable);
    wayland_->requestedAccess = true;
    capture->requestAccess([&](bool isGranted) {
        EXPECT_TRUE(isGranted);
        capture->withdrawRequest();
    });
    capture->withdrawRequest();
    wayland_->isGranted = false;

    EXPECT_FALSE(capture->preflightAccess());
}

TEST_F(ViewerLinuxScreenCaptureTest, ListsAndCapturesTheChosenSessionsDisplays) {
    const AnsweringCompositor compositor;
    const auto capture = captureOf({.waylandDisplay = compositor.displayName()});
    ASSERT_EQ(seen(*capture), Access::requestable);
    ViewerNativeDisplay display;
    display.number = 7;
    wayland_->report({display});
    wayland_->attached = {{7, "Seven"}};
    wayland_->isGranted = false;
    std::shared_ptr<const ViewerScreenCapture::Displays> listed;
    capture->shareableDisplays([&](auto displays) { listed = std::move(displays); });

    ASSERT_EQ(listed, wayland_->reported);
    EXPECT_FALSE(capture->preflightAccess());
    EXPECT_EQ(capture->displaysAtHand(), nullptr);
    wayland_->areAtHand = true;
    EXPECT_EQ(capture->displaysAtHand(), wayland_->reported);
    EXPECT_EQ(capture->screens(), wayland_->attached);
    EXPECT_NE(capture->makeStream(listed->front(), {}), nullptr);
    EXPECT_EQ(wayland_->streams.size(), 1U);
}

TEST_F(ViewerLinuxScreenCaptureTest, BeforeTheFirstLookItIsX11s) {
    const auto capture = captureOf({.waylandDisplay = "/nonexistent"});
    x11_->isGranted = false;
    EXPECT_FALSE(capture->preflightAccess());
    x11_->isGranted = true;

    EXPECT_TRUE(capture->preflightAccess());
    EXPECT_THAT(capture->sessionVariables(), IsEmpty());
    EXPECT_THAT(*waylandCalls_, IsEmpty());
}

TEST_F(ViewerLinuxScreenCaptureTest, AnXServerThatHangsLeavesTheLookUnanswered) {
    x11_->seenAccess.reset();
    const auto capture =
        captureOf({.type = "x11", .x11Display = ":7", .waylandDisplay = "/nonexistent"});
    std::optional<Access> answer;
    capture->lookAtAccess([&](Access access) { answer = access; });
    EXPECT_EQ(answer, std::nullopt);
    x11_->answerLooks(Access::granted);

    EXPECT_EQ(answer, Access::granted);
}

}  // namespace

}  // namespace velmora
