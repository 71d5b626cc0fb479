#include "tests/schedules/CaptureWorld.h"

#include <chrono>
#include <map>
#include <utility>

#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto idleTime = 5s;
/// A start, the wait for a first frame, and a stop.
constexpr auto longestAnswer = 4s + 2s + 4s;

}  // namespace

CaptureWorld::CaptureWorld(ScheduledWorld& world, CapturePlan plan)
    : SmallWorld(world), plan_(std::move(plan)) {}

void CaptureWorld::begin() {
    capture_ = std::make_shared<ScheduledCapture>(
        world(), plan_.manners, static_cast<std::size_t>(plan_.sessionLimit),
        ScheduledCapture::Ears{
            [this](bool holds, std::string_view rule) { expect(holds, rule); },
            [this](std::string_view event, std::string_view name) { tell(event, name); },
            [this](std::string_view state) { reach(state); }});
    coordinator_ = std::make_shared<ViewerCaptureCoordinator>(
        capture_, plan_.sessionLimit, idleTime, world(),
        std::shared_ptr<ViewerContinuousClock>(std::shared_ptr<void>(), &world()));
    requests_.resize(plan_.requests.size());
    for (std::size_t number = 0; number < requests_.size(); ++number) {
        if (plan_.requests[number].isOutside) {
            world().mayHappen("request " + std::to_string(number + 1),
                              [this, number] { start(number); });
        } else {
            start(number);
        }
    }
    if (plan_.isShutDown) {
        world().mayHappen("shutdown", [this] {
            capture_->isShuttingDown = true;
            (void)startTask(world().taskExecutor(), shutDown(this));  // is never cancelled
        });
    }
}

void CaptureWorld::start(std::size_t number) {
    (void)startTask(world().taskExecutor(), ask(this, number));  // is never cancelled
}

ViewerTask<void> CaptureWorld::ask(CaptureWorld* self, std::size_t number) {
    RequestNotes& request = self->requests_[number];
    const std::string displayID = self->plan_.requests[number].displayID;
    self->tell("asks for display " + displayID + ": request", number + 1);
    request.asked = self->world().now();
    DisplayNotes& display = self->capture_->notesOf(displayID);
    if (!display.isAskedFor) {
        display.isAskedFor = true;
    }
    std::vector<std::string> deadBefore;
    for (const auto& stream : display.streams) {
        if (stream->hasDied) {
            deadBefore.push_back(stream->name);
        }
    }
    const bool isShutDown = self->isShutDownOver_;
    const auto frame = co_await self->coordinator_->frame(displayID);
    ++request.answers;
    if (frame) {
        request.picture = std::string(frame->jpeg.text());
        request.label = frame->sequence;
        request.answer = request.picture;
    }
    self->tell("is answered with " + request.answer + ": request", number + 1);
    self->check(number, deadBefore, isShutDown);
}

void CaptureWorld::check(std::size_t number, const std::vector<std::string>& deadBefore,
                         bool isShutDown) {
    const RequestNotes& request = requests_[number];
    const std::string& displayID = plan_.requests[number].displayID;
    expect(request.answers == 1, "a request is answered once");
    expect(world().now() - request.asked <= longestAnswer, "no request hangs");
    expect(request.picture.empty() || request.picture.starts_with(displayID + "."),
           "a frame shows its display");
    expect(request.picture.empty() || !isShutDown, "nothing is served behind the shutdown");
    for (const std::string& stream : deadBefore) {
        expect(request.picture != stream, "the dead are not shown to those who come later");
    }
    bool hasTrouble =
        capture_->isShuttingDown || !plan_.manners.startSucceeds || plan_.manners.takesNoReceiver ||
        plan_.manners.start == CaptureManners::Moment::late ||
        plan_.manners.picture == CaptureManners::Moment::late || plan_.sessionLimit < 2;
    for (const auto& stream : capture_->notesOf(displayID).streams) {
        hasTrouble = hasTrouble || stream->hasDied;
        if (stream->hasDied && request.picture == stream->name) {
            reach("a death between fetch and delivery");
        }
    }
    expect(!request.picture.empty() || hasTrouble, "503 has a reason");
    if (request.picture.empty() && capture_->notesOf(displayID).sessions.empty()) {
        reach("a display refused for the limit");
    }
}

ViewerTask<void> CaptureWorld::shutDown(CaptureWorld* self) {
    self->tell("is to shut down");
    co_await self->coordinator_->shutdown();
    self->tell("has shut down");
    self->isShutDownOver_ = true;
    self->capture_->isShutDown = true;
}

void CaptureWorld::end() {
    const std::weak_ptr<ViewerCaptureCoordinator> coordinator = coordinator_;
    coordinator_.reset();
    expect(coordinator.expired(), "nothing is left of the coordinator");
    expect(capture_.use_count() == 1, "nothing is left of the sessions and streams");
    for (const RequestNotes& request : requests_) {
        expect(request.answers == 1, "every request is answered");
    }
    expect(isShutDownOver_ == plan_.isShutDown, "a shutdown comes to its end");
    capture_->check();
    checkLabels();
}

/// A session's labels rise with its streams, which it has one after the other.
void CaptureWorld::checkLabels() {
    std::map<std::string, std::string> pictures;
    std::map<std::string, std::map<std::size_t, std::string>> sessions;
    for (const RequestNotes& request : requests_) {
        if (request.label.empty()) {
            continue;
        }
        const auto [known, isNew] = pictures.emplace(request.label, request.picture);
        expect(isNew || known->second == request.picture, "no label has two pictures");
        const std::size_t dash = request.label.rfind('-');
        sessions[request.label.substr(0, dash)][std::stoul(request.label.substr(dash + 1))] =
            request.picture;
    }
    for (const auto& [session, labels] : sessions) {
        std::string last;
        for (const auto& [number, picture] : labels) {
            expect(last < picture, "labels rise within a session");
            last = picture;
        }
    }
}

std::string CaptureWorld::outcome() const {
    std::string text;
    for (const RequestNotes& request : requests_) {
        text += request.answer + " asked at " +
                std::to_string(request.asked.time_since_epoch() / 1ms) + ", label " +
                request.label.substr(request.label.find_last_of('-') + 1) + "; ";
    }
    for (const std::string displayID : {"one", "two"}) {
        for (const auto& stream : capture_->notesOf(displayID).streams) {
            text += stream->name + " " + std::to_string(stream->stopsBeforeStart) + "+" +
                    std::to_string(stream->stops) + (stream->hasDied ? " died; " : "; ");
        }
    }
    for (const std::string_view state : reached()) {
        text.append(state).append("; ");
    }
    return text;
}

}  // namespace velmora
