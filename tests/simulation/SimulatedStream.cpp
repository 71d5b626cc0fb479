#include "tests/simulation/SimulatedStream.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto answerLimit = 4s;
constexpr auto lateFirstFrame = 200ms;
constexpr std::size_t mostPictures = 10;
constexpr std::int64_t idleStatus = 1;

}  // namespace

/// What goes on in the system for one stream, also when nobody holds the stream any more.
class SimulatedStream::Life final : public std::enable_shared_from_this<Life> {
  public:
    Life(SimulationCourse& course, StreamHistory& history, Kept& kept)
        : course_(course),
          history_(history),
          kept_(kept),
          queue_(course.world.makeSerialExecutor("stream")) {}

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver);
    void start(Completion completion);
    void stop(Completion completion);
    void destroy();

  private:
    using Duration = SimulationCourse::Duration;

    bool isMisfortune(std::size_t oneIn) const { return !course_.isCalm && course_.oneIn(oneIn); }
    void after(Duration delay, void (Life::*event)());
    void planDeath();
    void answerStart(const Completion& completion, bool succeeded);
    void answerStop(const Completion& completion, bool succeeded);
    void dieWithNotice();
    void dieInSilence();
    void planPictures();
    void deliver();
    void deliverNewPicture();
    bool isOver() const { return history_.died || history_.stopAsked || isSilent_; }

    SimulationCourse& course_;
    StreamHistory& history_;
    Kept& kept_;
    const ViewerExecutor queue_;
    /// Held by the stream, and only for as long.
    std::shared_ptr<ViewerStreamReceiver> receiver_;
    std::size_t deliveries_ = 0;
    std::size_t pictures_ = 0;
    bool isSilent_ = false;
    bool isRecording_ = false;
};

void SimulatedStream::Life::after(Duration delay, void (Life::*event)()) {
    course_.world.schedule(course_.world.now() + delay, queue_,
                           [self = shared_from_this(), event] { ((*self).*event)(); });
}

bool SimulatedStream::Life::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver) {
    if (isMisfortune(15)) {
        history_.refused = course_.note("stream #: takes no receiver", history_.number);
        course_.reach(SimulationState::outputRefused);
        return false;
    }
    receiver_ = std::move(receiver);
    return true;
}

void SimulatedStream::Life::start(Completion completion) {
    history_.startAsked = course_.note("stream #: is to start", history_.number);
    planDeath();
    if (isMisfortune(12)) {
        course_.reach(SimulationState::startNeverAnswered);
        kept_.push_back(std::move(completion));
        if (course_.oneIn(2)) {
            planPictures();  // and records all the same
        }
        return;
    }
    const bool succeeded = !isMisfortune(8);
    const auto delay = course_.isCalm ? course_.anyOf(0s, 0s, 1ms, 100ms)
                                      : course_.anyOf(0s, 0s, 1ms, 100ms, 1s, 3999ms, 4001ms, 6s);
    if (succeeded && course_.oneIn(3)) {
        planPictures();  // the first may come before the answer
    }
    if (delay == 0s && course_.oneIn(2)) {
        answerStart(completion, succeeded);
        return;
    }
    const std::function<void()> answer = [self = shared_from_this(), completion, succeeded] {
        self->answerStart(completion, succeeded);
    };
    course_.world.schedule(course_.world.now() + delay, queue_, answer);
}

void SimulatedStream::Life::planDeath() {
    if (isMisfortune(3)) {
        const auto delay = course_.anyOf(1ms, 100ms, 500ms, 2s, 5s);
        after(delay, course_.oneIn(4) ? &Life::dieInSilence : &Life::dieWithNotice);
    }
}

void SimulatedStream::Life::answerStart(const Completion& completion, bool succeeded) {
    history_.startAnswered = course_.note("stream #: its start has #", history_.number,
                                          succeeded ? "succeeded" : "failed");
    const bool isLate = history_.startAnswered->time - history_.startAsked->time > answerLimit;
    history_.startSucceeded = succeeded;
    history_.hasStarted = succeeded && !isLate;
    isRecording_ = succeeded && !history_.died && !history_.destroyed;
    if (isLate) {
        course_.reach(SimulationState::startAnsweredLate);
    }
    if (!succeeded) {
        course_.reach(SimulationState::startFailed);
    } else if (deliveries_ == 0 && pictures_ == 0) {
        planPictures();
    }
    completion(succeeded);
}

void SimulatedStream::Life::dieWithNotice() {
    if (!receiver_ || history_.died || (history_.stopAsked && !isRecording_)) {
        return;
    }
    history_.died = course_.note("stream #: dies and says so", history_.number);
    isRecording_ = false;
    course_.reach(SimulationState::diedWithNotice);
    if (!history_.startAnswered) {
        course_.reach(SimulationState::diedDuringStart);
    }
    receiver_->streamDidStop();
}

void SimulatedStream::Life::dieInSilence() {
    if (!isSilent_) {
        course_.note("stream #: delivers nothing any more", history_.number);
        course_.reach(SimulationState::diedInSilence);
        isSilent_ = true;
    }
}

void SimulatedStream::Life::planPictures() {
    if (isMisfortune(10)) {
        course_.reach(SimulationState::noFirstFrame);
        isSilent_ = true;
        return;
    }
    pictures_ = course_.world.choose(mostPictures) + 1;
    const auto delay = course_.isCalm ? course_.anyOf(0s, 20ms, 100ms)
                                      : course_.anyOf(0s, 0s, 20ms, 100ms, 1s, 1990ms, 2100ms);
    if (delay > lateFirstFrame) {
        course_.reach(SimulationState::lateFirstFrame);
    }
    after(delay, &Life::deliver);
}

void SimulatedStream::Life::deliver() {
    if (!receiver_ || deliveries_ >= pictures_) {
        return;
    }
    // A busy queue passes on what it has, for a while, though the stream is given up.
    if (isOver()) {
        pictures_ = deliveries_ + 1;
        if (isSilent_ || course_.oneIn(2)) {
            return;
        }
        course_.reach(SimulationState::stalePictureDelivered);
    }
    ++deliveries_;
    deliverNewPicture();
    if (isMisfortune(15)) {
        after(0s, &Life::dieWithNotice);  // while the picture is on its way
    }
    after(course_.anyOf(40ms, 40ms, 100ms, 1s, 5s), &Life::deliver);
}

void SimulatedStream::Life::deliverNewPicture() {
    ViewerStreamOutput output;
    output.isValid = true;
    output.hasAttachments = true;
    output.status = ViewerStreamOutput::completeStatus;
    std::string bytes = "JPEG " + history_.displayID + " stream " +
                        std::to_string(history_.number) + " picture " +
                        std::to_string(history_.pictures.size());
    if (course_.oneIn(12)) {
        output.status = idleStatus;  // no picture, whatever it carries
        bytes = "nobody's";
    } else {
        if (!history_.pictures.empty() && course_.oneIn(4)) {
            bytes = history_.pictures.back().bytes;
            course_.reach(SimulationState::samePictureAgain);
        }
        const auto moment = course_.note("stream #: delivers #", history_.number, bytes);
        history_.pictures.push_back({moment, bytes});
    }
    ViewerPixelBuffer pixels;
    pixels.width = 640;
    pixels.height = 360;
    pixels.native = &bytes;
    output.pixels = &pixels;
    // Held, because what it is told may end the stream.
    const auto receiver = receiver_;
    receiver->streamDidOutput(output);
}

void SimulatedStream::Life::stop(Completion completion) {
    const auto moment = course_.note("stream #: is to stop", history_.number);
    ++history_.stops;
    history_.lastStopAsked = moment;
    const bool isFirst = !history_.stopAsked;
    if (isFirst) {
        history_.stopAsked = moment;
    }
    course_.tell(&SimulationRule::streamStopped, history_);
    if (isMisfortune(10)) {
        course_.reach(SimulationState::stopNeverAnswered);
        kept_.push_back(std::move(completion));
        return;
    }
    const bool succeeded = !isMisfortune(6);
    const auto delay = course_.isCalm ? course_.anyOf(0s, 0s, 1ms)
                                      : course_.anyOf(0s, 0s, 1ms, 100ms, 2s, 3999ms, 6s);
    if (delay == 0s && course_.oneIn(2)) {
        answerStop(completion, succeeded);
        return;
    }
    const std::function<void()> answer = [self = shared_from_this(), completion, succeeded] {
        self->answerStop(completion, succeeded);
    };
    course_.world.schedule(course_.world.now() + delay, queue_, answer);
}

void SimulatedStream::Life::answerStop(const Completion& completion, bool succeeded) {
    history_.stopAnswered = course_.note("stream #: its stop has #", history_.number,
                                         succeeded ? "succeeded" : "failed");
    if (succeeded) {
        isRecording_ = false;
    } else {
        course_.reach(SimulationState::stopFailed);
    }
    completion(succeeded);
}

void SimulatedStream::Life::destroy() {
    history_.destroyed = course_.note("stream #: is gone", history_.number);
    receiver_ = nullptr;
}

SimulatedStream::SimulatedStream(SimulationCourse& course, StreamHistory& history, Kept& kept)
    : life_(std::make_shared<Life>(course, history, kept)) {}

SimulatedStream::~SimulatedStream() {
    life_->destroy();
}

bool SimulatedStream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string) {
    return life_->addOutput(std::move(receiver));
}

void SimulatedStream::start(Completion completion) {
    life_->start(std::move(completion));
}

void SimulatedStream::stop(Completion completion) {
    life_->stop(std::move(completion));
}

}  // namespace velmora
