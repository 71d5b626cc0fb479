#include "tests/support/capture/FakeScreenCapture.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

template <typename Answer>
void answerAll(std::vector<std::function<void(Answer)>>& held, Answer answer) {
    for (const auto& completion : std::exchange(held, {})) {
        completion(answer);
    }
}

}  // namespace

FakeScreenCapture::~FakeScreenCapture() {
    // A completion may hold the stream that it belongs to.
    for (const auto& course : streams) {
        course->heldStarts.clear();
        course->heldStops.clear();
    }
}

void FakeScreenCapture::lookAtAccess(AccessCompletion completion) {
    calls_->emplace_back("look");
    heldLooks.push_back(std::move(completion));
    if (seenAccess) {
        answerLooks(*seenAccess);
    }
}

void FakeScreenCapture::requestAccess(RequestCompletion completion) {
    calls_->emplace_back("request");
    heldRequests.push_back(std::move(completion));
    if (requestedAccess) {
        answerRequests(*requestedAccess);
    }
}

void FakeScreenCapture::answerLooks(ViewerCaptureAccess access) {
    answerAll(heldLooks, access);
}

void FakeScreenCapture::answerRequests(bool hasAccess) {
    answerAll(heldRequests, hasAccess);
}

void FakeScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    ++listings;
    heldListings.push_back(std::move(completion));
    if (!holdsListings) {
        completeListing();
    }
}

std::vector<ViewerNativeScreen> FakeScreenCapture::screens() {
    ++screenReadings;
    return attached;
}

std::shared_ptr<ViewerDisplayStream> FakeScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    auto course = std::make_shared<ScriptedStreamCourse>();
    course->display = display;
    course->settings = settings;
    if (direct) {
        direct(*course);
    }
    streams.push_back(course);
    return std::make_shared<ScriptedDisplayStream>(std::move(course));
}

void FakeScreenCapture::watchSession(std::function<void()> ended) {
    calls_->emplace_back("watch session");
    sessionEnded_ = std::move(ended);
}

void FakeScreenCapture::endSession() {
    if (sessionEnded_) {
        sessionEnded_();
    }
}

void FakeScreenCapture::report(Displays displays) {
    reported = std::make_shared<const Displays>(std::move(displays));
}

void FakeScreenCapture::completeListing() {
    viewerCheck(!heldListings.empty(), "a listing is held");
    const auto completion = std::move(heldListings.front());
    heldListings.erase(heldListings.begin());
    completion(reported);
}

}  // namespace velmora
