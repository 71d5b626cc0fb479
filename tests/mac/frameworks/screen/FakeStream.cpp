#include "tests/mac/frameworks/screen/FakeStream.h"

#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

ScreenScript& ScreenScript::shared() {
    static ScreenScript script;
    return script;
}

std::vector<std::shared_ptr<FakeStream>> ScreenScript::streams() const {
    std::vector<std::shared_ptr<FakeStream>> streams;
    for (const auto& weak : made) {
        if (auto stream = weak.lock()) {
            streams.push_back(std::move(stream));
        }
    }
    return streams;
}

void runAsSystem(std::function<void()> work) {
    if (ScreenScript::shared().answersAtOnce) {
        work();
        return;
    }
    DispatchWorld& world = DispatchWorld::shared();
    world.post(world.makeSystemQueue(), std::move(work));
}

void FakeStream::addOutput(long type, DispatchWorld::QueuePointer queue, Output output) {
    outputType_ = type;
    outputQueue_ = std::move(queue);
    output_ = std::move(output);
}

void FakeStream::complete(Completion completion, bool succeeded) {
    runAsSystem([completion = std::move(completion), succeeded] { completion(succeeded); });
}

void FakeStream::answer(ScreenScript::Answer answer, Completion completion, Completion& open) {
    if (answer == ScreenScript::Answer::none) {
        const std::lock_guard guard(lock_);
        open = std::move(completion);
    } else {
        complete(std::move(completion), answer == ScreenScript::Answer::success);
    }
}

void FakeStream::start(Completion completion) {
    const ScreenScript::Answer starting = ScreenScript::shared().starting;
    {
        const std::lock_guard guard(lock_);
        ++starts_;
        isCapturing_ = starting != ScreenScript::Answer::error;
    }
    answer(starting, std::move(completion), openStart_);
    if (isCapturing() && ScreenScript::shared().onStart) {
        ScreenScript::shared().onStart(*this);
    }
}

void FakeStream::stop(Completion completion) {
    {
        const std::lock_guard guard(lock_);
        ++stops_;
        isCapturing_ = false;
    }
    answer(ScreenScript::shared().stopping, std::move(completion), openStop_);
}

void FakeStream::drop() {
    const std::lock_guard guard(lock_);
    isDropped_ = true;
    ScreenScript::shared().abandonedStreams += isCapturing_ ? 1 : 0;
}

void FakeStream::deliver(FakeSample sample) {
    viewerCheck(output_ != nullptr, "a delivery needs an output");
    DispatchWorld::shared().post(
        outputQueue_,
        [self = shared_from_this(), sample = std::move(sample)] { self->output_(sample); });
}

void FakeStream::deliver(const Raster& picture) {
    FakeSample sample;
    sample.picture = picture;
    deliver(std::move(sample));
}

void FakeStream::stopBySystem() {
    {
        const std::lock_guard guard(lock_);
        isCapturing_ = false;
    }
    runAsSystem([self = shared_from_this()] { self->didStop_(); });
}

void FakeStream::completeStart(bool succeeded) {
    Completion completion;
    {
        const std::lock_guard guard(lock_);
        completion = std::exchange(openStart_, nullptr);
        isCapturing_ = isCapturing_ && succeeded;
    }
    complete(std::move(completion), succeeded);
}

void FakeStream::completeStop(bool succeeded) {
    Completion completion;
    {
        const std::lock_guard guard(lock_);
        completion = std::exchange(openStop_, nullptr);
    }
    complete(std::move(completion), succeeded);
}

bool FakeStream::isCapturing() const {
    const std::lock_guard guard(lock_);
    return isCapturing_;
}

bool FakeStream::isDropped() const {
    const std::lock_guard guard(lock_);
    return isDropped_;
}

int FakeStream::starts() const {
    const std::lock_guard guard(lock_);
    return starts_;
}

int FakeStream::stops() const {
    const std::lock_guard guard(lock_);
    return stops_;
}

}  // namespace velmora
