#include "tests/support/capture/ScriptedDisplayStream.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/capture/PaintedPicture.h"

namespace velmora {

namespace {

ViewerDisplayStream::Completion takeFirst(std::vector<ViewerDisplayStream::Completion>& held) {
    viewerCheck(!held.empty(), "a completion is held");
    auto first = std::move(held.front());
    held.erase(held.begin());
    return first;
}

}  // namespace

void ScriptedStreamCourse::completeStart(bool succeeded) {
    const auto completion = takeFirst(heldStarts);
    isRunning = succeeded && !isDestroyed;
    completion(succeeded);
}

void ScriptedStreamCourse::completeStop(bool succeeded) {
    const auto completion = takeFirst(heldStops);
    isRunning = isRunning && !succeeded;
    completion(succeeded);
}

void ScriptedStreamCourse::deliverPicture(std::uint8_t shade) {
    const PaintedPicture picture(shade);
    deliver(picture.complete());
}

void ScriptedStreamCourse::deliver(const ViewerStreamOutput& output) {
    if (const auto living = receiver.lock()) {
        living->streamDidOutput(output);
    }
}

void ScriptedStreamCourse::die() {
    isRunning = false;
    if (const auto living = receiver.lock()) {
        living->streamDidStop();
    }
}

ScriptedDisplayStream::ScriptedDisplayStream(std::shared_ptr<ScriptedStreamCourse> course)
    : course_(std::move(course)) {}

ScriptedDisplayStream::~ScriptedDisplayStream() {
    course_->isRunning = false;
    course_->isDestroyed = true;
}

bool ScriptedDisplayStream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                      std::string queueLabel) {
    course_->queueLabel = std::move(queueLabel);
    if (course_->acceptsOutput) {
        receiver_ = std::move(receiver);
        course_->receiver = receiver_;
    }
    return course_->acceptsOutput;
}

void ScriptedDisplayStream::start(Completion completion) {
    ++course_->starts;
    course_->heldStarts.push_back(std::move(completion));
    if (course_->startAnswer != ScriptedAnswer::hold) {
        course_->completeStart(course_->startAnswer == ScriptedAnswer::succeed);
    }
}

void ScriptedDisplayStream::stop(Completion completion) {
    ++course_->stops;
    course_->heldStops.push_back(std::move(completion));
    if (course_->stopAnswer != ScriptedAnswer::hold) {
        course_->completeStop(course_->stopAnswer == ScriptedAnswer::succeed);
    }
}

}  // namespace velmora
