#include "core/capture/linux/wayland/ViewerWaylandScreenCapture.h"

#include <unistd.h>

#include <boost/asio/post.hpp>
#include <utility>

#include "core/capture/linux/identity/ViewerDRMConnectors.h"
#include "core/capture/linux/wayland/ViewerRefusedStream.h"
#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"
#include "core/capture/linux/wayland/outputs/ViewerStreamMatching.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutputs.h"
#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerIfAlive.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

namespace {

using State = ViewerScreenCast::State;

constexpr int noDescriptor = -1;

void closeIfOpen(int descriptor) {
    if (descriptor != noDescriptor) {
        ::close(descriptor);
    }
}

}  // namespace

std::shared_ptr<ViewerWaylandScreenCapture> ViewerWaylandScreenCapture::onSocket(
    ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock,
    const std::string& socketPath, std::shared_ptr<ViewerScreenCast> screenCast,
    MakeRemote makeRemote) {
    Parts parts;
    parts.outputs = std::make_shared<ViewerWaylandOutputs>(mainExecutor, clock, socketPath);
    parts.screenCast = std::move(screenCast);
    parts.makeRemote = std::move(makeRemote);
    parts.copyOutput = [socketPath](const ViewerWaylandOutput& output,
                                    const ViewerScreenCopy::Receiver& receive) {
        return ViewerScreenCopy::copy(socketPath, output, receive);
    };
    parts.drmFolder = ViewerDRMConnectors::kernelFolder;
    return std::make_shared<ViewerWaylandScreenCapture>(std::move(mainExecutor), std::move(clock),
                                                        std::move(parts));
}

ViewerWaylandScreenCapture::ViewerWaylandScreenCapture(ViewerExecutor mainExecutor,
                                                       std::shared_ptr<ViewerContinuousClock> clock,
                                                       Parts parts)
    : executor_(std::move(mainExecutor)),
      clock_(std::move(clock)),
      parts_(std::move(parts)),
      displays_(parts_.drmFolder) {}

bool ViewerWaylandScreenCapture::preflightAccess() {
    return access_ == ViewerCaptureAccess::granted;
}

void ViewerWaylandScreenCapture::lookAtAccess(AccessCompletion completion) {
    completion(access_);
}

void ViewerWaylandScreenCapture::requestAccess(RequestCompletion completion) {
    request_ = std::move(completion);
    // By the time that the person has answered the outputs are known.
    startOutputs();
    parts_.screenCast->watch(
        ifAlive(weak_from_this(), &ViewerWaylandScreenCapture::screenCastHasChanged));
    parts_.screenCast->request(
        ifAlive(weak_from_this(), &ViewerWaylandScreenCapture::requestIsAnswered));
}

void ViewerWaylandScreenCapture::shareableDisplays(DisplaysCompletion completion) {
    completion(displaysAtHand());
}

std::shared_ptr<const ViewerScreenCapture::Displays> ViewerWaylandScreenCapture::displaysAtHand() {
    (void)parts_.outputs->current();  // what has arrived may change the list
    return displays_.list();
}

std::shared_ptr<ViewerDisplayStream> ViewerWaylandScreenCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    const ViewerOutputs::Current compositor = parts_.outputs->current();
    const ViewerGrantedDisplays::Granted* const granted =
        displays_.find(display.uuidText.value_or(""));
    if (granted == nullptr || !remote_ || !grant_ || !compositor) {
        return std::make_shared<ViewerRefusedStream>();
    }
    ViewerScreenCastRemote::StillPicture still;
    if (granted->output && (compositor->offersScreenCopy || compositor->offersImageCopy)) {
        still = [copy = parts_.copyOutput, output = *granted->output](const auto& receive) {
            return copy(output, receive);
        };
    }
    return remote_->makeStream(granted->stream, settings, std::move(still));
}

void ViewerWaylandScreenCapture::watchSession(std::function<void()> ended) {
    startOutputs();
    parts_.outputs->watchSession(std::move(ended));
}

void ViewerWaylandScreenCapture::startOutputs() {
    if (std::exchange(hasStartedOutputs_, true)) {
        return;
    }
    parts_.outputs->start(
        ifAlive(weak_from_this(), &ViewerWaylandScreenCapture::outputsHaveChanged));
    wereOutputsKnown_ = parts_.outputs->current() != nullptr;
}

void ViewerWaylandScreenCapture::outputsHaveChanged() {
    const ViewerOutputs::Current current = parts_.outputs->current();
    const auto resized = displays_.follow(current);
    if (remote_) {
        for (const ViewerGrantedDisplays::Granted& each : resized) {
            remote_->outputHasResized(each.stream, each.output->seenSize());
        }
    }
    if (current) {
        for (const auto& each : std::exchange(waitingForOutputs_, {})) {
            each(true);
        }
    }
    // That they became known is no change of theirs.
    if (std::exchange(wereOutputsKnown_, current != nullptr)) {
        parts_.screenCast->outputsHaveChanged();
    }
}

void ViewerWaylandScreenCapture::requestIsAnswered(ViewerCaptureAccess access) {
    if (access == ViewerCaptureAccess::granted) {
        screenCastHasChanged();
    } else {
        refuse(access);
    }
}

void ViewerWaylandScreenCapture::screenCastHasChanged() {
    if (!request_ && access_ != ViewerCaptureAccess::granted) {
        // The request came to nothing, for good.
        return;
    }
    switch (parts_.screenCast->state()) {
        case State::granted:
            if (grant_ != parts_.screenCast->grant()) {
                dropRemote();
                grant_ = parts_.screenCast->grant();
                (void)startTask(executor_, takeGrant(shared_from_this(), round_));
            }
            break;
        case State::interrupted:
            interrupt();
            break;
        case State::none:
        case State::stopped:
            refuse(ViewerCaptureAccess::declined);
            break;
    }
}

void ViewerWaylandScreenCapture::remoteIsLost(Round round) {
    if (round != round_) {
        return;
    }
    dropRemote();
    parts_.screenCast->remoteIsLost();
}

ViewerTask<void> ViewerWaylandScreenCapture::takeGrant(Self self, Round round) {
    const ViewerCaptureAccess access = co_await prepare(self, round);
    if (round == self->round_) {
        self->grantIsTaken(access);
    }
}

ViewerTask<ViewerCaptureAccess> ViewerWaylandScreenCapture::prepare(Self self, Round round) {
    const int descriptor = co_await openRemote(self);
    if (descriptor == noDescriptor || round != self->round_) {
        closeIfOpen(descriptor);
        co_return ViewerCaptureAccess::portalSilent;
    }
    const Remote remote = self->parts_.makeRemote(
        descriptor, ifAlive(std::weak_ptr(self), [round](ViewerWaylandScreenCapture& alive) {
            alive.remoteIsLost(round);
        }));
    if (!remote) {
        co_return ViewerCaptureAccess::portalSilent;
    }
    const Nodes nodes = co_await describe(self, remote);
    const ViewerOutputs::Current outputs = co_await knownOutputs(self);
    if (!nodes || round != self->round_) {
        co_return ViewerCaptureAccess::portalSilent;
    }
    if (!outputs) {
        co_return ViewerCaptureAccess::noAnswer;
    }
    const auto streams = ViewerStreamMatching::match(self->grant_->streams, *nodes, *outputs);
    self->remote_ = remote;
    co_return self->displays_.grant(streams, outputs) ? ViewerCaptureAccess::granted
                                                      : ViewerCaptureAccess::noWholeScreen;
}

ViewerTask<int> ViewerWaylandScreenCapture::openRemote(Self self) {
    const auto call = [&](ViewerBoundedCall<int>::Completion completion) {
        self->parts_.screenCast->openRemote(std::move(completion));
    };
    const auto descriptor =
        co_await ViewerBoundedCall<int>::answer(self->clock_, answerLimit, call, closeIfOpen);
    co_return descriptor.value_or(noDescriptor);
}

ViewerTask<ViewerWaylandScreenCapture::Nodes> ViewerWaylandScreenCapture::describe(Self self,
                                                                                   Remote remote) {
    const auto call = [&](ViewerBoundedCall<Nodes>::Completion completion) {
        remote->describe(std::move(completion));
    };
    const auto nodes = co_await ViewerBoundedCall<Nodes>::answer(self->clock_, answerLimit, call);
    co_return nodes.value_or(std::nullopt);
}

ViewerTask<ViewerOutputs::Current> ViewerWaylandScreenCapture::knownOutputs(Self self) {
    if (!self->parts_.outputs->current()) {
        const auto call = [&](ViewerBoundedCall<bool>::Completion completion) {
            self->waitingForOutputs_.push_back(std::move(completion));
        };
        (void)co_await ViewerBoundedCall<bool>::answer(self->clock_, answerLimit, call);
    }
    co_return self->parts_.outputs->current();
}

void ViewerWaylandScreenCapture::grantIsTaken(ViewerCaptureAccess access) {
    const bool isUsable =
        access == ViewerCaptureAccess::granted || access == ViewerCaptureAccess::noWholeScreen;
    if (request_ && access == ViewerCaptureAccess::granted) {
        access_ = access;
        std::exchange(request_, nullptr)(true);
    } else if (request_) {
        refuse(access);
    } else if (!isUsable) {
        remoteIsLost(round_);
    }
}

void ViewerWaylandScreenCapture::interrupt() {
    if (!remote_) {
        dropRemote();
        return;
    }
    // It may have been PipeWire that ended, which then is the reason, and is only now told.
    grant_ = nullptr;
    remote_->endStreams();
}

void ViewerWaylandScreenCapture::dropRemote() {
    ++round_;
    grant_ = nullptr;
    if (remote_) {
        // It may be the one that is telling its own loss.
        boost::asio::post(executor_, [dropped = std::exchange(remote_, nullptr)] {});
    }
}

void ViewerWaylandScreenCapture::refuse(ViewerCaptureAccess reason) {
    dropRemote();
    displays_.clear();
    access_ = reason;
    if (const RequestCompletion request = std::exchange(request_, nullptr)) {
        request(false);
    }
}

}  // namespace velmora
