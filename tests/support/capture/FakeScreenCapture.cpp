#include "tests/support/capture/FakeScreenCapture.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

bool isDigit(char character) {
    return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

/// Takes the next thing to compare off the front: a number, or a letter beyond all numbers.
std::uint64_t takeNext(std::string_view& text) {
    constexpr std::uint64_t letters = std::uint64_t{1} << 40U;
    if (!isDigit(text.front())) {
        const auto letter = static_cast<unsigned char>(text.front());
        text.remove_prefix(1);
        return letters + static_cast<std::uint64_t>(std::tolower(letter));
    }
    std::uint64_t number = 0;
    while (!text.empty() && isDigit(text.front())) {
        number = number * 10 + static_cast<std::uint64_t>(text.front() - '0');
        text.remove_prefix(1);
    }
    return number;
}

void answerAll(std::vector<ViewerScreenCapture::AccessCompletion>& held, bool access) {
    for (const auto& completion : std::exchange(held, {})) {
        completion(access);
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

void FakeScreenCapture::requestAccess(AccessCompletion completion) {
    calls_->emplace_back("request");
    heldRequests.push_back(std::move(completion));
    if (requestedAccess) {
        answerRequests(*requestedAccess);
    }
}

void FakeScreenCapture::answerLooks(bool access) {
    answerAll(heldLooks, access);
}

void FakeScreenCapture::answerRequests(bool access) {
    answerAll(heldRequests, access);
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

bool FakeScreenCapture::comesBefore(const std::string& a, const std::string& b) {
    ++comparisons;
    if (comparison) {
        return comparison(a, b);
    }
    std::string_view restOfA(a);
    std::string_view restOfB(b);
    while (!restOfA.empty() && !restOfB.empty()) {
        const auto nextOfA = takeNext(restOfA);
        const auto nextOfB = takeNext(restOfB);
        if (nextOfA != nextOfB) {
            return nextOfA < nextOfB;
        }
    }
    return restOfA.empty() && !restOfB.empty();
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
