#include "core/capture/linux/x11/ViewerX11DisplayList.h"

#include <iterator>

#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

void answer(std::vector<ViewerX11DisplayList::Completion> waiting,
            const std::shared_ptr<const ViewerX11DisplayList::Displays>& displays) {
    for (const ViewerX11DisplayList::Completion& each : waiting) {
        each(displays);
    }
}

}  // namespace

ViewerX11DisplayList::ViewerX11DisplayList(ViewerExecutor executor,
                                           std::shared_ptr<ViewerContinuousClock> clock,
                                           std::shared_ptr<ViewerX11Connector> connector)
    : executor_(std::move(executor)),
      clock_(std::move(clock)),
      connector_(std::move(connector)),
      intake_(ViewerLoopIntake::of(executor_)) {}

bool ViewerX11DisplayList::hasAccess() {
    viewerCheck(std::this_thread::get_id() == thread_, "the display list stays on its thread");
    // Nobody lists displays who may not, so that here alone the end of such a server is noticed.
    if (access_ == false) {
        takeNotices();
    }
    return access_.value_or(true);
}

std::shared_ptr<const ViewerX11DisplayList::Displays> ViewerX11DisplayList::current() {
    viewerCheck(std::this_thread::get_id() == thread_, "the display list stays on its thread");
    takeNoticesOnce();
    return isFresh_ ? displays_ : nullptr;
}

void ViewerX11DisplayList::get(Completion completion) {
    if (const auto displays = current()) {
        completion(displays);
    } else if (refresh_) {
        (refresh_->isReading ? refresh_->cameLater : refresh_->waiting)
            .push_back(std::move(completion));
    } else {
        startRefresh({std::move(completion)});
    }
}

void ViewerX11DisplayList::takeNotices() {
    if (refresh_ || !reader_) {
        return;
    }
    if (reader_->hasChanged()) {
        isFresh_ = false;
    }
    if (reader_->isDead()) {
        forgetConnection();
    }
}

void ViewerX11DisplayList::takeNoticesOnce() {
    const std::uint64_t batch = intake_.batch();
    if (batch == ViewerLoopIntake::noBatch || batch != noticedBatch_) {
        takeNotices();
    }
    noticedBatch_ = batch;
}

void ViewerX11DisplayList::startRefresh(Waiting waiting) {
    refresh_.emplace(std::move(waiting));
    (void)startTask(executor_, refresh(shared_from_this()));
}

ViewerTask<void> ViewerX11DisplayList::refresh(Self self) {
    const Instant deadline = self->clock_->now() + ViewerScreenCapture::answerLimit;
    if (!self->reader_) {
        co_await connect(self, deadline);
    }
    if (!self->reader_) {
        self->finished(ViewerX11Displays());
        co_return;
    }
    self->refresh_->isReading = true;
    std::optional<ViewerX11Displays> result = co_await read(self, deadline);
    if (!result) {
        // The thread that is stuck in the connection goes on with an error.
        self->reader_->abort();
        self->forgetConnection();
    }
    self->finished(std::move(result));
}

ViewerTask<void> ViewerX11DisplayList::connect(Self self, Instant deadline) {
    const auto connection = co_await ViewerX11Connector::connectWithin(
        self->connector_, self->clock_, deadline - self->clock_->now());
    if (connection && *connection) {
        self->reader_ = std::make_shared<ViewerX11DisplayReader>(*connection);
    }
}

ViewerTask<std::optional<ViewerX11Displays>> ViewerX11DisplayList::read(Self self,
                                                                        Instant deadline) {
    using Call = ViewerBoundedCall<std::optional<ViewerX11Displays>>;
    const auto call = [&](Call::Completion completion) {
        const bool isStarted = startDetachedThread(
            "x11-displays", [completion, reader = self->reader_] { completion(reader->read()); });
        if (!isStarted) {
            completion(std::nullopt);
        }
    };
    const auto answer = co_await Call::answer(self->clock_, deadline - self->clock_->now(), call);
    co_return answer.value_or(std::nullopt);
}

void ViewerX11DisplayList::finished(std::optional<ViewerX11Displays> result) {
    Refresh done = std::move(*refresh_);
    refresh_.reset();
    const bool isAnswered = result.has_value();
    keep(std::move(result).value_or(ViewerX11Displays()));
    const std::shared_ptr<const Displays> displays = displays_;
    if (!done.cameLater.empty()) {
        takeNotices();
        if (isFresh_ || !isAnswered) {
            std::move(done.cameLater.begin(), done.cameLater.end(),
                      std::back_inserter(done.waiting));
        } else {
            startRefresh(std::move(done.cameLater));
        }
    }
    answer(std::move(done.waiting), displays);
}

void ViewerX11DisplayList::keep(ViewerX11Displays result) {
    access_ = result.access;
    isFresh_ = result.displays.has_value() && result.isSettled;
    if (!result.displays) {
        displays_ = nullptr;
    } else if (!displays_ || *displays_ != *result.displays) {
        displays_ = std::make_shared<const Displays>(std::move(*result.displays));
    }
}

void ViewerX11DisplayList::forgetConnection() {
    reader_ = nullptr;
    access_ = std::nullopt;
    isFresh_ = false;
}

}  // namespace velmora
