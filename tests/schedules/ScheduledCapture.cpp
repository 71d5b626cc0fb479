#include "tests/schedules/ScheduledCapture.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <cstdint>
#include <utility>

#include "core/capture/MacDisplayCaptureSession.h"
#include "core/capture/ViewerPixelBuffer.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto idleTime = 5s;
constexpr std::int64_t side = 100;

std::shared_ptr<ViewerContinuousClock> clockOf(ScheduledWorld& world) {
    return {std::shared_ptr<void>(), &world};
}

}  // namespace

/// A real session, and what the coordinator does with it.
class ScheduledCapture::Session final : public ViewerHostCaptureSession,
                                        public std::enable_shared_from_this<Session> {
  public:
    Session(std::shared_ptr<ScheduledCapture> capture, const ViewerNativeDisplay& display,
            std::shared_ptr<SessionNotes> notes)
        : capture_(std::move(capture)),
          notes_(std::move(notes)),
          session_(std::make_shared<MacDisplayCaptureSession>(display, capture_, capture_->world_,
                                                              clockOf(capture_->world_))) {}

    ViewerTask<std::optional<ViewerHostFrame>> latestFrame() override {
        return latest(shared_from_this());
    }

    ViewerTask<void> stop() override {
        ScheduledCapture& capture = *capture_;
        const auto& expect = capture.ears_.expect;
        expect(++notes_->stops == 1, "a session is stopped once");
        --capture.liveSessions_;
        if (!capture.isShuttingDown) {
            const auto idle = capture.world_.now() - notes_->lastUse;
            expect(notes_->inside == 0, "no session is stopped that somebody waits for");
            expect(idle == idleTime, "a session is stopped when it was idle for 5 seconds");
        }
        return session_->stop();
    }

  private:
    static ViewerTask<std::optional<ViewerHostFrame>> latest(std::shared_ptr<Session> self) {
        ScheduledCapture& capture = *self->capture_;
        SessionNotes& notes = *self->notes_;
        if (notes.inside == 0 && notes.lastUse != ViewerContinuousClock::Instant() &&
            capture.world_.now() - notes.lastUse == idleTime) {
            capture.ears_.reach("a request at the instant of the idle stop");
        }
        capture.ears_.expect(notes.stops == 0, "a session that is stopped is not asked");
        ++notes.inside;
        auto frame = co_await self->session_->latestFrame();
        --notes.inside;
        notes.lastUse = capture.world_.now();
        co_return frame;
    }

    const std::shared_ptr<ScheduledCapture> capture_;
    const std::shared_ptr<SessionNotes> notes_;
    const std::shared_ptr<MacDisplayCaptureSession> session_;
};

/// What goes on in the system for one stream, also when nobody holds it any more.
class ScheduledCapture::StreamLife final : public std::enable_shared_from_this<StreamLife> {
  public:
    using Completion = ViewerDisplayStream::Completion;

    StreamLife(std::shared_ptr<ScheduledCapture> capture, std::shared_ptr<StreamNotes> notes,
               bool mayDie)
        : capture_(std::move(capture)),
          notes_(std::move(notes)),
          mayDie_(mayDie),
          queue_(capture_->world_.makeSerialExecutor("stream." + notes_->name)) {}

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver) {
        if (capture_->manners_.takesNoReceiver) {
            return false;
        }
        receiver_ = std::move(receiver);
        return true;
    }

    void start(Completion completion) {
        notes_->isStartAsked = true;
        tell("is to start: stream");
        if (mayDie_) {
            capture_->world_.mayHappen("death of " + notes_->name,
                                       [self = shared_from_this()] { self->die(); });
        }
        at(capture_->manners_.start, "start of ",
           [self = shared_from_this(), completion] { self->answerStart(completion); });
    }

    void stop(Completion completion) {
        tell("is to stop: stream");
        if (!notes_->isStartAnswered) {
            ++notes_->stopsBeforeStart;
            capture_->ears_.reach("a stop during a start");
        } else {
            ++notes_->stops;
        }
        at(capture_->manners_.stop, "stop of ", [self = shared_from_this(), completion] {
            self->tell("has stopped: stream");
            completion(true);
        });
    }

    void destroy() {
        tell("is gone: stream");
        notes_->isDestroyed = true;
        receiver_ = nullptr;
    }

  private:
    void at(CaptureManners::Moment moment, const std::string& what, std::function<void()> event) {
        switch (moment) {
            case CaptureManners::Moment::atOnce:
                event();
                return;
            case CaptureManners::Moment::soon:
                boost::asio::post(queue_, std::move(event));
                return;
            case CaptureManners::Moment::late:
                capture_->world_.mayHappen(what + notes_->name, std::move(event));
        }
    }

    void answerStart(const Completion& completion) {
        notes_->isStartAnswered = true;
        notes_->hasStarted = capture_->manners_.startSucceeds;
        tell(notes_->hasStarted ? "has started: stream" : "has failed to start: stream");
        if (notes_->hasDied) {
            capture_->ears_.reach("a death during a start");
        }
        if (notes_->hasStarted) {
            at(capture_->manners_.picture, "picture of ",
               [self = shared_from_this()] { self->deliver(); });
        }
        completion(notes_->hasStarted);
    }

    void deliver() {
        const auto receiver = receiver_;
        if (!receiver) {
            return;
        }
        // What was on its way is delivered, though the stream is stopped or has died.
        if (notes_->stops > 0 || notes_->hasDied) {
            capture_->ears_.reach("a picture of a stream that is over");
        }
        tell("delivers a picture: stream");
        std::string bytes = notes_->name;
        ViewerPixelBuffer pixels;
        pixels.width = side;
        pixels.height = side;
        pixels.native = &bytes;
        ViewerStreamOutput output;
        output.isValid = true;
        output.hasAttachments = true;
        output.status = ViewerStreamOutput::completeStatus;
        output.pixels = &pixels;
        receiver->streamDidOutput(output);
    }

    void die() {
        const auto receiver = receiver_;
        if (!receiver || notes_->stops > 0) {
            return;
        }
        tell("dies: stream");
        notes_->hasDied = true;
        receiver->streamDidStop();
    }

    void tell(std::string_view event) const { capture_->ears_.tell(event, notes_->name); }

    const std::shared_ptr<ScheduledCapture> capture_;
    const std::shared_ptr<StreamNotes> notes_;
    const bool mayDie_;
    const ViewerExecutor queue_;
    std::shared_ptr<ViewerStreamReceiver> receiver_;
};

class ScheduledCapture::Stream final : public ViewerDisplayStream {
  public:
    explicit Stream(std::shared_ptr<StreamLife> life) : life_(std::move(life)) {}
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream() override { life_->destroy(); }

    bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver, std::string) override {
        return life_->addOutput(std::move(receiver));
    }
    void start(Completion completion) override { life_->start(std::move(completion)); }
    void stop(Completion completion) override { life_->stop(std::move(completion)); }

  private:
    const std::shared_ptr<StreamLife> life_;
};

ScheduledCapture::ScheduledCapture(ScheduledWorld& world, CaptureManners manners,
                                   std::size_t sessionLimit, Ears ears)
    : world_(world), manners_(manners), sessionLimit_(sessionLimit), ears_(std::move(ears)) {
    for (const std::string name : {"one", "two"}) {
        ViewerNativeDisplay display;
        display.number = static_cast<std::uint32_t>(displays_.size() + 1);
        display.width = side;
        display.height = side;
        display.uuidText = name;
        displays_[name].display = display;
    }
}

ViewerTask<ViewerHostDisplays> ScheduledCapture::displays() {
    co_return ViewerHostDisplays();
}

std::shared_ptr<ViewerHostCaptureSession> ScheduledCapture::makeSession(
    const std::string& displayID) {
    DisplayNotes& display = notesOf(displayID);
    ears_.expect(display.isAskedFor, "only what was asked for is captured");
    ears_.expect(!isShutDown, "nothing is captured behind the shutdown");
    ears_.expect(++liveSessions_ <= sessionLimit_, "no more displays are captured than the limit");
    display.sessions.push_back(std::make_shared<SessionNotes>());
    ears_.tell("a session is made: display", displayID);
    return std::make_shared<Session>(shared_from_this(), display.display, display.sessions.back());
}

std::shared_ptr<ViewerDisplayStream> ScheduledCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings&) {
    DisplayNotes& notes = notesOf(*display.uuidText);
    auto stream = std::make_shared<StreamNotes>();
    stream->name = *display.uuidText + "." + std::to_string(notes.streams.size() + 1);
    ears_.tell("is made: stream", stream->name);
    const bool mayDie = manners_.dies && notes.streams.empty();
    notes.streams.push_back(stream);
    return std::make_shared<Stream>(
        std::make_shared<StreamLife>(shared_from_this(), std::move(stream), mayDie));
}

void ScheduledCapture::check() const {
    for (const auto& [displayID, display] : displays_) {
        for (const auto& session : display.sessions) {
            ears_.expect(session->stops == 1, "every session is stopped once");
        }
        for (const auto& stream : display.streams) {
            ears_.expect(!stream->hasStarted || stream->hasDied || stream->stops > 0,
                         "a stream that has started is stopped or has died");
            // Once for the session, once more where that may have come too early, and once for a
            // start that was not answered in time.
            ears_.expect(stream->stops + stream->stopsBeforeStart <= 3,
                         "a stream is stopped no more often than there are reasons");
            ears_.expect(stream->isDestroyed, "nothing is left of a stream");
        }
    }
}

}  // namespace velmora
