#pragma once

#include <pipewire/pipewire.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFrame.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMailbox.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMemory.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWirePicture.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireVitality.h"

namespace velmora {

/// The capture of one node, from its making to its destruction: a stream of PipeWire's, its buffers
/// and what is delivered of them. It holds at most one buffer, the newest, and only while something
/// of it is still to be looked at. Made, used and destroyed on the connection's thread, though
/// never destroyed by one of its handlers; only the buffers are taken in and given back on a thread
/// of PipeWire's.
class ViewerPipeWireCapture final : public ViewerPipeWireConnection::Watcher {
  public:
    struct Handlers final {
        /// Receives the first picture and then every different one.
        std::function<void(const ViewerPixelBuffer&)> deliver;
        /// When no picture has come for a while since the stream runs.
        std::function<void()> fallSilent;
        /// Once, when the capture is over by itself.
        std::function<void()> end;
    };

    /// How long a running stream may take for its next picture before it counts as silent.
    static constexpr std::chrono::milliseconds silenceLimit{200};

    /// How long after a silence that nothing could fill it counts as another one.
    static constexpr std::chrono::seconds nextSilence{1};

    /// After so many of them the stream is over: for want of a descriptor or of memory, PipeWire's
    /// library may have lost what wakes it, and says nothing of that. Another stream may show more.
    static constexpr int mostSilences = 4;

    /// How long a stream may take for the first picture of another format, or of an output's new
    /// size. Some compositors' backends never send one when the change comes at a bad moment; a new
    /// stream gets it.
    static constexpr std::chrono::seconds renewalLimit{1};

    /// Of the node with this serial number. `frameInterval` is the least time between two pictures.
    ViewerPipeWireCapture(ViewerPipeWireConnection& connection, std::uint64_t serial,
                          std::chrono::nanoseconds frameInterval, Handlers handlers);
    ~ViewerPipeWireCapture() override;
    ViewerPipeWireCapture(const ViewerPipeWireCapture&) = delete;
    ViewerPipeWireCapture& operator=(const ViewerPipeWireCapture&) = delete;

    /// False when PipeWire refuses at once. REQUIRES: the connection is not lost. Called once.
    bool connect();
    /// Whether a picture has come from the stream itself.
    bool hasShown() const { return hasShown_; }
    /// Tells of its silence once more if it lasts, or ends. REQUIRES: it has shown nothing.
    void listenOn();

    void nodeIsGone(std::uint64_t serial) override;
    void nodeIsToResize(std::uint64_t serial, ViewerWaylandOutput::PixelSize size) override;
    void connectionIsOver() override;

  private:
    using Clock = ViewerCaptureSchedule::Clock;
    using Instant = ViewerCaptureSchedule::Instant;

    void enter(pw_stream_state state);
    void take(const spa_pod* format);
    void queue(pw_buffer* buffer);
    /// To the source, which may be read again: what it does not get back it waits for.
    void returnAll();
    /// On PipeWire's thread, in one of its cycles.
    void exchangeBuffers();
    void read();
    /// If the newest picture is the one that was awaited.
    void endRenewal();
    /// A stream ends for whose picture there is no memory.
    void notice(const ViewerPipeWireFrame& frame, Instant now);
    void act(Instant now);
    void renew(Instant now);
    void wake();
    void arm();
    void release();
    void end();
    ViewerPipeWireFrame frameIn(pw_buffer& buffer) const;

    static void onState(void* self, pw_stream_state old, pw_stream_state state, const char* error);
    static void onParameter(void* self, std::uint32_t id, const spa_pod* parameter);
    static void onBufferAdded(void* self, pw_buffer* buffer);
    static void onBufferRemoved(void* self, pw_buffer* buffer);
    static void onProcess(void* self);
    static void onArrival(void* self, std::uint64_t count);
    static void onTimer(void* self, std::uint64_t expirations);
    static const pw_stream_events events;

    ViewerPipeWireConnection& connection_;
    const ViewerPipeWireLibrary& library_;
    const std::uint64_t serial_;
    const Handlers handlers_;

    pw_stream* stream_ = nullptr;
    spa_hook hook_{};
    spa_source* timer_ = nullptr;
    spa_source* arrival_ = nullptr;
    ViewerPipeWireMailbox mailbox_;
    std::optional<ViewerPipeWireFormat> format_;
    std::map<const pw_buffer*, ViewerPipeWireMemory> memories_;
    ViewerPipeWireVitality vitality_;
    ViewerPipeWirePicture picture_;
    /// The newest buffer with a picture, while it is needed.
    pw_buffer* held_ = nullptr;
    ViewerPipeWireFrame frame_;
    /// The number of the last buffer.
    std::uint64_t sequence_ = 0;
    /// When the held buffer is needed next.
    std::optional<Instant> next_;
    bool hasShown_ = false;
    bool hasStreamed_ = false;
    /// When the stream has fallen silent, unless its first picture comes before.
    std::optional<Instant> silence_;
    int silences_ = 0;
    /// When a stream is dead that has changed its format or its size, unless a picture comes
    /// before.
    std::optional<Instant> renewal_;
    /// How large that picture must be, where it is known.
    std::optional<ViewerWaylandOutput::PixelSize> awaitedSize_;
    bool isOver_ = false;
};

}  // namespace velmora
