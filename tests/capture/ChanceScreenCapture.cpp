#include "tests/capture/ChanceScreenCapture.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "tests/support/capture/PaintedPicture.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using Course = std::shared_ptr<ChanceStreamCourse>;
using Platform = std::shared_ptr<ChanceScreenCapture>;
using Receiver = std::shared_ptr<ViewerStreamReceiver>;

/// Pictures of the shades 0, 4, 8 … encode differently.
std::uint8_t shade(std::size_t number) {
    return static_cast<std::uint8_t>(number % 64 * 4);
}
constexpr std::size_t mostDeliveries = 64;

class ChanceStream final : public ViewerDisplayStream {
  public:
    ChanceStream(Course course, Platform platform)
        : course_(std::move(course)), platform_(std::move(platform)) {}
    ChanceStream(const ChanceStream&) = delete;
    ChanceStream& operator=(const ChanceStream&) = delete;
    ~ChanceStream() override {
        course_->isRunning = false;
        course_->isDestroyed = true;
    }

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string) override {
        if (platform_->oneIn(12)) {
            platform_->noteFailure();
            return false;
        }
        receiver_ = std::move(receiver);
        course_->receiver = receiver_;
        return true;
    }

    void start(Completion completion) override {
        if (!platform_->oneIn(3)) {
            platform_->after(platform_->delayBelow(3000),
                             [platform = platform_, course = course_] { platform->die(course); });
        }
        if (platform_->oneIn(2)) {
            platform_->deliverNowAndThen(course_, receiver_);
        }
        if (platform_->oneIn(10)) {
            startInSilence(std::move(completion));
            return;
        }
        answer(!platform_->oneIn(6),
               [platform = platform_, course = course_, receiver = receiver_,
                begun = platform_->now(), given = std::move(completion)](bool succeeded) {
                   answerStart(*course, *platform, succeeded);
                   course->startedLate = platform->now() - begun > 4s;
                   given(course->hasRun);
                   if (course->hasRun) {
                       platform->deliverNowAndThen(course, receiver);
                   }
               });
    }

    void stop(Completion completion) override {
        const bool wasRunning = course_->isRunning;
        course_->wasStoppedRunning = course_->wasStoppedRunning || wasRunning;
        course_->defiesStop = platform_->oneIn(5);
        if (course_->defiesStop && platform_->oneIn(2)) {
            platform_->keep(std::move(completion));
            return;
        }
        // A stop during a start ends the start, or misses the stream that is about to run.
        course_->isCancelled = course_->isCancelled || platform_->oneIn(2);
        answer(!course_->defiesStop,
               [course = course_, wasRunning, given = std::move(completion)](bool succeeded) {
                   course->isRunning = course->isRunning && !(succeeded && wasRunning);
                   given(succeeded);
               });
    }

  private:
    /// Gives no answer, ever. The stream records all the same, or does not.
    void startInSilence(Completion completion) {
        platform_->keep(std::move(completion));
        if (platform_->oneIn(2)) {
            return;
        }
        platform_->after(platform_->delayBelow(4000), [course = course_] {
            course->hasRun = !course->isCancelled && !course->isDestroyed;
            course->isRunning = course->hasRun && !course->hasDied;
            course->ranInSilence = course->isRunning;
        });
    }

    void answer(bool succeeded, Completion act) {
        const auto delay = platform_->answerDelay();
        if (delay == 0ms && platform_->oneIn(2)) {
            act(succeeded);
        } else {
            platform_->after(delay, [succeeded, act = std::move(act)] { act(succeeded); });
        }
    }

    static void answerStart(ChanceStreamCourse& course, ChanceScreenCapture& platform,
                            bool succeeded) {
        course.isStartAnswered = true;
        course.hasRun = succeeded && !course.isCancelled && !course.isDestroyed;
        course.isRunning = course.hasRun && !course.hasDied;
        if (!course.hasRun) {
            platform.noteFailure();
        }
    }

    const Course course_;
    const Platform platform_;
    Receiver receiver_;
};

}  // namespace

std::shared_ptr<ViewerDisplayStream> ChanceScreenCapture::makeStream(const ViewerNativeDisplay&,
                                                                     const ViewerStreamSettings&) {
    auto course = std::make_shared<ChanceStreamCourse>();
    course->number = streams_.size();
    streams_.push_back(course);
    return std::make_shared<ChanceStream>(std::move(course), shared_from_this());
}

ChanceScreenCapture::Duration ChanceScreenCapture::answerDelay() {
    switch (world_.choose(6)) {
        case 0:
        case 1:
            return 0ms;
        case 2:
            return 3990ms + delayBelow(20);
        case 3:
            return delayBelow(8000);
        default:
            return delayBelow(100);
    }
}

void ChanceScreenCapture::after(Duration delay, std::function<void()> event) {
    ++pendingEvents_;
    const std::function<void()> action = [self = shared_from_this(), event = std::move(event)] {
        --self->pendingEvents_;
        event();
    };
    world_.schedule(world_.now() + delay, world_.makeSerialExecutor("platform"), action);
}

void ChanceScreenCapture::deliverNowAndThen(const Course& course, const Receiver& receiver) {
    const bool hasEnded = course->isStartAnswered && !course->isRunning;
    if (course->deliveries == mostDeliveries || (hasEnded && oneIn(2))) {
        return;
    }
    const PaintedPicture picture(shade(course->number), shade(course->deliveries++));
    origins_.emplace(picture.jpeg().text(), course->number);
    receiver->streamDidOutput(picture.complete());
    after(delayBelow(300), [this, course, receiver] { deliverNowAndThen(course, receiver); });
}

void ChanceScreenCapture::die(const Course& course) {
    const Receiver receiver = course->receiver.lock();
    if (!receiver) {
        return;
    }
    course->isRunning = false;
    course->hasDied = true;
    ++failures_;
    receiver->streamDidStop();
    firstLiving_ = std::max(firstLiving_, course->number + 1);
    if (oneIn(4)) {
        after(delayBelow(1000), [receiver] { receiver->streamDidStop(); });
    }
}

}  // namespace velmora
