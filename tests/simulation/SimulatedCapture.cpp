#include "tests/simulation/SimulatedCapture.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "core/capture/MacDisplayIdentifier.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto listingBeat = 50ms;

}  // namespace

SimulatedCapture::SimulatedCapture(SimulationCourse& course)
    : course_(course),
      displays_(course),
      isGranted_(course.isCalm || !course.oneIn(5)),
      isFickle_(course.oneIn(2)) {}

bool SimulatedCapture::preflightAccess() {
    if (course_.isCalm || !course_.oneIn(60)) {
        return true;
    }
    ListingHistory& listing = addListing();
    listing.answered = course_.note("the permission is withdrawn for a moment");
    course_.tell(&SimulationRule::listingAsked);
    return false;
}

void SimulatedCapture::lookAtAccess(AccessCompletion completion) {
    course_.note("the host looks whether it may record the screen");
    ++looks_;
    ViewerCaptureAccess access = ViewerCaptureAccess::granted;
    if (!isGranted_) {
        access = course_.oneIn(3)   ? ViewerCaptureAccess::sessionRefuses
                 : course_.oneIn(6) ? ViewerCaptureAccess::granted
                                    : ViewerCaptureAccess::requestable;
    }
    const auto delay = course_.isCalm ? course_.anyOf(0s, 1ms)
                                      : course_.anyOf(0s, 0s, 0s, 1ms, 1s, 2499ms, 2501ms);
    const bool isInTime = delay < lookLimit;
    if (delay == 0s && course_.oneIn(2)) {
        answerLook(completion, access, isInTime);
    } else if (!course_.isCalm && course_.oneIn(20)) {
        keptOthers_.emplace_back([completion] {});
    } else {
        course_.after(delay, [this, completion, access, isInTime] {
            answerLook(completion, access, isInTime);
        });
    }
}

void SimulatedCapture::answerLook(const AccessCompletion& completion, ViewerCaptureAccess access,
                                  bool isInTime) {
    --looks_;
    const bool isGranted = access == ViewerCaptureAccess::granted;
    const auto moment = course_.note("the look finds that it #", isGranted ? "may" : "may not");
    if (isGranted && isInTime) {
        course_.history.granted = moment;
    }
    completion(access);
}

void SimulatedCapture::requestAccess(RequestCompletion completion) {
    course_.history.requestMade = course_.note("the host has the system ask for the permission");
    course_.tell(&SimulationRule::systemAsked);
    ++requests_;
    if (course_.oneIn(3)) {
        keptOthers_.emplace_back([completion] {});
        return;
    }
    course_.after(course_.anyOf(0s, 1ms, 1s, 10s), [this, completion] {
        --requests_;
        const bool isGranted = course_.oneIn(2);
        const auto moment = course_.note("the person # it", isGranted ? "grants" : "declines");
        if (isGranted) {
            course_.history.granted = moment;
        }
        completion(isGranted);
    });
}

ListingHistory& SimulatedCapture::addListing() {
    ListingHistory& listing = course_.history.listings.emplace_back();
    listing.asked = course_.now();
    return listing;
}

void SimulatedCapture::shareableDisplays(DisplaysCompletion completion) {
    course_.note("the host asks for the displays");
    ListingHistory& listing = addListing();
    course_.tell(&SimulationRule::listingAsked);
    if (!course_.isCalm && course_.oneIn(60)) {
        course_.reach(SimulationState::listingNeverAnswered);
        keptOthers_.emplace_back([completion] {});
        return;
    }
    const bool succeeded = course_.isCalm || !course_.oneIn(isFickle_ ? 2 : 12);
    const auto delay = delayOfListing();
    if (delay == 0s && course_.oneIn(2)) {
        answerListing(listing, completion, succeeded);
        return;
    }
    course_.after(delay, [this, &listing, completion, succeeded] {
        answerListing(listing, completion, succeeded);
    });
}

std::shared_ptr<const ViewerScreenCapture::Displays> SimulatedCapture::displaysAtHand() {
    if (!displays_.haveNames() || displays_.reported()->empty() || course_.oneIn(3)) {
        return nullptr;
    }
    ListingHistory& listing = addListing();
    course_.tell(&SimulationRule::listingAsked);
    listing.displays = displays_.expected();
    listing.answered = course_.note("# displays are at hand", displays_.reported()->size());
    course_.reach(SimulationState::displaysAtHand);
    return displays_.reported();
}

SimulationCourse::Duration SimulatedCapture::delayOfListing() {
    if (course_.isCalm || course_.oneIn(3)) {
        return course_.anyOf(0s, 0s, 1ms);
    }
    if (course_.oneIn(2)) {
        // A busy platform answers several at once.
        return listingBeat - course_.world.now().time_since_epoch() % listingBeat;
    }
    return course_.anyOf(0s, 1ms, 20ms, 300ms, 3999ms, 4001ms);
}

void SimulatedCapture::answerListing(ListingHistory& listing, const DisplaysCompletion& completion,
                                     bool succeeded) {
    const auto reported = displays_.reported();
    if (succeeded) {
        listing.displays = displays_.expected();
        listing.answered = course_.note("the platform reports # displays", reported->size());
    } else {
        listing.answered = course_.note("the platform cannot list its displays");
        course_.reach(SimulationState::listingFailed);
    }
    // An unchanged list may be passed on as the same object.
    completion(!succeeded         ? nullptr
               : course_.oneIn(2) ? reported
                                  : std::make_shared<const Displays>(*reported));
}

std::shared_ptr<ViewerDisplayStream> SimulatedCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings&) {
    StreamHistory& stream = course_.history.streams.emplace_back();
    stream.number = course_.history.streams.size();
    stream.session = course_.world.runningQueue();
    stream.displayID = MacDisplayIdentifier::identifier(display.uuidText.value_or(""));
    stream.made = course_.note("stream #: is made for display # (#)", stream.number, display.number,
                               stream.displayID);
    const auto isDeadOne = [&](const StreamHistory& other) {
        return other.session == stream.session && other.died;
    };
    if (std::ranges::any_of(course_.history.streams, isDeadOne)) {
        course_.reach(SimulationState::replacedAfterDeath);
    }
    course_.tell(&SimulationRule::streamMade, stream);
    return std::make_shared<SimulatedStream>(course_, stream, kept_);
}

void SimulatedCapture::watchSession(std::function<void()> ended) {
    course_.note("the host watches the session");
    course_.tell(&SimulationRule::sessionWatched);
    sessionEnded_ = std::move(ended);
}

void SimulatedCapture::letGo() {
    std::exchange(kept_, {}).clear();
    std::exchange(keptOthers_, {}).clear();
    sessionEnded_ = nullptr;
}

}  // namespace velmora
