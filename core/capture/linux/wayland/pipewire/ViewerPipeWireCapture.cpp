#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "core/runtime/ViewerMemoryLack.h"
#include "core/runtime/linux/ViewerTimespec.h"

namespace velmora {

namespace {

/// What the desktop may show as the reader of the screen.
constexpr const char* streamName = "Velmora Viewer Host";

ViewerPipeWireVitality::State stateOf(pw_stream_state state) {
    switch (state) {
        case PW_STREAM_STATE_CONNECTING:
            return ViewerPipeWireVitality::State::connecting;
        case PW_STREAM_STATE_PAUSED:
            return ViewerPipeWireVitality::State::paused;
        case PW_STREAM_STATE_STREAMING:
            return ViewerPipeWireVitality::State::streaming;
        default:
            return ViewerPipeWireVitality::State::failed;
    }
}

ViewerPipeWireCapture* captureAt(void* self) {
    return static_cast<ViewerPipeWireCapture*>(self);
}

}  // namespace

const pw_stream_events ViewerPipeWireCapture::events = [] {
    pw_stream_events result{};
    result.version = PW_VERSION_STREAM_EVENTS;
    result.state_changed = onState;
    result.param_changed = onParameter;
    result.add_buffer = onBufferAdded;
    result.remove_buffer = onBufferRemoved;
    result.process = onProcess;
    return result;
}();

ViewerPipeWireCapture::ViewerPipeWireCapture(ViewerPipeWireConnection& connection,
                                             std::uint64_t serial,
                                             std::chrono::nanoseconds frameInterval,
                                             Handlers handlers)
    : connection_(connection),
      library_(connection.library()),
      serial_(serial),
      handlers_(std::move(handlers)),
      vitality_(Clock::now()),
      picture_(frameInterval) {
    connection_.watch(*this);
}

ViewerPipeWireCapture::~ViewerPipeWireCapture() {
    connection_.unwatch(*this);
    if (stream_ != nullptr) {
        // From here on PipeWire's thread calls no more.
        spa_hook_remove(&hook_);
        returnAll();
        library_.streamDestroy(stream_);
    }
    for (spa_source* const each : {timer_, arrival_}) {
        if (each != nullptr) {
            pw_loop_destroy_source(connection_.loop(), each);
        }
    }
}

bool ViewerPipeWireCapture::connect() {
    const std::string target = std::to_string(serial_);
    const std::array items{spa_dict_item{PW_KEY_MEDIA_TYPE, "Video"},
                           spa_dict_item{PW_KEY_MEDIA_CATEGORY, "Capture"},
                           spa_dict_item{PW_KEY_MEDIA_ROLE, "Screen"},
                           spa_dict_item{PW_KEY_TARGET_OBJECT, target.c_str()}};
    const spa_dict settings{0, static_cast<std::uint32_t>(items.size()), items.data()};
    stream_ = library_.streamNew(connection_.core(), streamName, library_.propertiesNew(&settings));
    timer_ = pw_loop_add_timer(connection_.loop(), onTimer, this);
    arrival_ = pw_loop_add_event(connection_.loop(), onArrival, this);
    if (stream_ == nullptr || timer_ == nullptr || arrival_ == nullptr) {
        return false;
    }
    library_.streamAddListener(stream_, &hook_, &events, this);
    // Only within its own cycle can PipeWire's thread give a buffer back for each that it brings.
    const auto flags = static_cast<pw_stream_flags>(
        PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_DONT_RECONNECT | PW_STREAM_FLAG_RT_PROCESS);
    ViewerPipeWireParameters parameters;
    std::vector<const spa_pod*> formats = parameters.formats();
    const int result =
        library_.streamConnect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY, flags, formats.data(),
                               static_cast<std::uint32_t>(formats.size()));
    arm();
    return result >= 0;
}

void ViewerPipeWireCapture::listenOn() {
    if (++silences_ == mostSilences) {
        end();
        return;
    }
    silence_ = Clock::now() + nextSilence;
    arm();
}

void ViewerPipeWireCapture::nodeIsGone(std::uint64_t serial) {
    if (serial == serial_) {
        end();
    }
}

void ViewerPipeWireCapture::nodeIsToResize(std::uint64_t serial,
                                           ViewerWaylandOutput::PixelSize size) {
    if (serial == serial_) {
        const bool isBehind = std::exchange(awaitedSize_, size).has_value();
        renewal_ = Clock::now() + renewalLimit;
        // The picture of a stream that has missed one size tells nothing of the next.
        if (!isBehind) {
            endRenewal();
        }
        arm();
    }
}

void ViewerPipeWireCapture::connectionIsOver() {
    end();
}

void ViewerPipeWireCapture::enter(pw_stream_state state) {
    vitality_.enter(stateOf(state), Clock::now());
    // The first picture may be here before the state is told.
    if (vitality_.firstStreamed() && !std::exchange(hasStreamed_, true) && !hasShown_) {
        silence_ = *vitality_.firstStreamed() + silenceLimit;
    }
    wake();
}

void ViewerPipeWireCapture::take(const spa_pod* format) {
    release();
    picture_.distrust();
    format_.reset();
    if (format == nullptr) {
        return;
    }
    if (hasShown_) {
        renewal_ = Clock::now() + renewalLimit;
        arm();
    }
    format_ = ViewerPipeWireParameters::formatIn(format);
    if (!format_) {
        end();
        return;
    }
    ViewerPipeWireParameters parameters;
    std::vector<const spa_pod*> buffers = parameters.buffers();
    if (library_.streamUpdateParams(stream_, buffers.data(),
                                    static_cast<std::uint32_t>(buffers.size())) < 0) {
        end();
    }
}

ViewerPipeWireFrame ViewerPipeWireCapture::frameIn(pw_buffer& buffer) const {
    const auto memory = memories_.find(&buffer);
    if (!format_ || memory == memories_.end()) {
        return {};
    }
    return ViewerPipeWireFrame::in(*buffer.buffer, memory->second.bytes(), *format_);
}

void ViewerPipeWireCapture::queue(pw_buffer* buffer) {
    (void)library_.streamQueueBuffer(stream_, buffer);  // A stream that refuses says so itself.
}

void ViewerPipeWireCapture::returnAll() {
    release();
    if (pw_buffer* const unread = mailbox_.take().buffer) {
        queue(unread);
    }
    while (pw_buffer* const back = mailbox_.collect()) {
        queue(back);
    }
}

void ViewerPipeWireCapture::exchangeBuffers() {
    while (pw_buffer* const buffer = library_.streamDequeueBuffer(stream_)) {
        using Kind = ViewerPipeWireFrame::Kind;
        const Kind kind = ViewerPipeWireFrame::kindOf(*buffer->buffer);
        if (kind == Kind::broken) {
            mailbox_.notePassedOver();
        }
        if (pw_buffer* const back = kind == Kind::picture ? mailbox_.put(buffer) : buffer) {
            queue(back);
        }
    }
    while (pw_buffer* const back = mailbox_.collect()) {
        queue(back);
    }
    (void)pw_loop_signal_event(connection_.loop(), arrival_);
}

void ViewerPipeWireCapture::read() {
    const ViewerPipeWireMailbox::Arrival arrival = mailbox_.take();
    if (arrival.buffer == nullptr) {
        return;
    }
    const Instant now = Clock::now();
    const ViewerPipeWireFrame frame = frameIn(*arrival.buffer);
    // What was passed over, here or by PipeWire itself, took along what it said of changes.
    if (arrival.isAfterOthers || frame.sequence > sequence_ + 1) {
        picture_.distrust();
    }
    sequence_ = frame.sequence;
    if (frame.kind == ViewerPipeWireFrame::Kind::picture) {
        release();
        held_ = arrival.buffer;
        frame_ = frame;
        hasShown_ = true;
        silence_.reset();
        endRenewal();
        notice(frame, now);
    } else {
        picture_.distrust();
        mailbox_.giveBack(arrival.buffer);
    }
    if (!isOver_) {
        act(now);
    }
    arm();
}

void ViewerPipeWireCapture::notice(const ViewerPipeWireFrame& frame, Instant now) {
    try {
        const ViewerMemoryAttempt attempt;
        picture_.notice(frame, *format_, now);
    } catch (const ViewerMemoryLack&) {
        end();
    }
}

void ViewerPipeWireCapture::endRenewal() {
    if (hasShown_ && (!awaitedSize_ || frame_.seenSize() == *awaitedSize_)) {
        awaitedSize_.reset();
        renewal_.reset();
    }
}

void ViewerPipeWireCapture::act(Instant now) {
    if (held_ != nullptr && memories_.at(held_).bytes().empty()) {
        release();
        picture_.distrust();
    }
    if (held_ == nullptr) {
        return;
    }
    try {
        renew(now);
    } catch (const ViewerMemoryLack&) {
        end();
    }
}

void ViewerPipeWireCapture::renew(Instant now) {
    std::optional<ViewerPixelBuffer> pixels;
    {
        const ViewerMemoryAttempt attempt;
        const ViewerPipeWirePicture::Outcome outcome = picture_.act(frame_, now);
        next_ = outcome.next;
        if (outcome.isDifferent) {
            pixels = picture_.pixels();
        }
    }
    if (!next_) {
        release();
    }
    if (pixels) {
        handlers_.deliver(*pixels);
    }
}

void ViewerPipeWireCapture::wake() {
    const Instant now = Clock::now();
    if (vitality_.isDeadAt(now) || (renewal_ && now >= *renewal_)) {
        end();
        return;
    }
    if (silence_ && now >= *silence_) {
        silence_.reset();
        handlers_.fallSilent();
    }
    act(now);
    arm();
}

void ViewerPipeWireCapture::arm() {
    std::optional<Instant> next = vitality_.limit();
    const auto include = [&next](const std::optional<Instant>& instant) {
        if (instant) {
            next = next ? std::min(*next, *instant) : *instant;
        }
    };
    include(next_);
    include(silence_);
    include(renewal_);
    // All zeros: not at all.
    timespec when = next && !isOver_ ? timespecOf(next->time_since_epoch()) : timespec{};
    (void)pw_loop_update_timer(connection_.loop(), timer_, &when, nullptr, true);  // Cannot fail.
}

void ViewerPipeWireCapture::release() {
    if (held_ != nullptr) {
        mailbox_.giveBack(held_);
    }
    held_ = nullptr;
    next_.reset();
}

void ViewerPipeWireCapture::end() {
    if (isOver_) {
        return;
    }
    isOver_ = true;
    if (timer_ != nullptr) {
        arm();
    }
    handlers_.end();
}

void ViewerPipeWireCapture::onState(void* self, pw_stream_state, pw_stream_state state,
                                    const char*) {
    if (!captureAt(self)->isOver_) {
        captureAt(self)->enter(state);
    }
}

void ViewerPipeWireCapture::onParameter(void* self, std::uint32_t id, const spa_pod* parameter) {
    if (id == SPA_PARAM_Format && !captureAt(self)->isOver_) {
        captureAt(self)->take(parameter);
    }
}

void ViewerPipeWireCapture::onBufferAdded(void* self, pw_buffer* buffer) {
    captureAt(self)->memories_.try_emplace(buffer, *buffer->buffer);
}

void ViewerPipeWireCapture::onBufferRemoved(void* self, pw_buffer* buffer) {
    ViewerPipeWireCapture* const capture = captureAt(self);
    if (capture->held_ == buffer) {
        capture->held_ = nullptr;
        capture->next_.reset();
    }
    capture->mailbox_.forget(buffer);
    capture->memories_.erase(buffer);
}

void ViewerPipeWireCapture::onProcess(void* self) {
    captureAt(self)->exchangeBuffers();
}

void ViewerPipeWireCapture::onArrival(void* self, std::uint64_t) {
    if (!captureAt(self)->isOver_) {
        captureAt(self)->read();
    }
}

void ViewerPipeWireCapture::onTimer(void* self, std::uint64_t) {
    if (!captureAt(self)->isOver_) {
        captureAt(self)->wake();
    }
}

}  // namespace velmora
