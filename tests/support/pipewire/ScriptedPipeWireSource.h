#pragma once

#include <pipewire/pipewire.h>
#include <spa/param/video/raw.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/pipewire/PipeWireClient.h"
#include "tests/support/pipewire/PipeWireServer.h"

namespace velmora {

/// A node that casts a screen as a compositor does, and does what a test says: its formats and
/// buffers, each picture and what is told of it, its misfortunes. Its memory is its own, as
/// compositors' is. Any thread, one at a time.
class ScriptedPipeWireSource final {
  public:
    /// The colour 0xRRGGBB of a pixel.
    using Painting = std::function<std::uint32_t(std::int64_t x, std::int64_t y)>;

    struct Options final {
        std::string mediaName = "a scripted screen";
        std::uint32_t format = SPA_VIDEO_FORMAT_BGRx;
        std::uint32_t width = 64;
        std::uint32_t height = 48;
        /// Bytes behind each row and before the first one.
        std::uint32_t rowPadding = 0;
        std::uint32_t offset = 0;
        /// How much shorter than the buffer says its memory is.
        std::uint32_t missingBytes = 0;
        /// What is left out is told by no buffer.
        bool tellsDamage = true;
    };

    struct Picture final {
        /// Without one the buffer's memory is not touched.
        Painting painting = {};
        /// What is said to have changed; empty where nothing is told.
        std::vector<ViewerRectangle> damage = {};
        std::optional<ViewerRectangle> crop = std::nullopt;
        std::uint32_t transform = 0;
        std::uint32_t headerFlags = 0;
        /// How many pictures before it never came to the reader.
        std::uint64_t lostBefore = 0;
        /// The last word on the chunk, after everything else.
        std::function<void(spa_chunk&)> spoil = {};
    };

    explicit ScriptedPipeWireSource(const PipeWireServer& server);
    ScriptedPipeWireSource(const PipeWireServer& server, Options options);
    ~ScriptedPipeWireSource();
    ScriptedPipeWireSource(const ScriptedPipeWireSource&) = delete;
    ScriptedPipeWireSource& operator=(const ScriptedPipeWireSource&) = delete;

    static Painting all(std::uint32_t colour);

    /// PipeWire's number of the node.
    std::uint32_t node() const { return node_; }

    /// False when it takes too long.
    bool awaitReader() {
        return await([this] { return isStreaming_; });
    }
    bool awaitNoReader() {
        return await([this] { return !isStreaming_; });
    }
    /// How many times somebody began to read.
    std::size_t readers();

    /// Sends a picture as soon as there is a reader and a free buffer. False when there is none.
    bool send(const Picture& picture);
    /// The same for a picture of one colour.
    bool send(std::uint32_t colour) { return send(Picture{all(colour)}); }
    /// The same for whatever a buffer holds.
    bool sendUnpainted() { return send(Picture{}); }

    /// How many buffers are with neither PipeWire nor the reader. Takes them: nothing is sent after
    /// that.
    std::size_t takeFreeBuffers();

    /// From the next picture on they are others.
    void renegotiate(std::uint32_t format, std::uint32_t width, std::uint32_t height);
    void pause();
    void resume();
    /// The node goes.
    void remove();
    /// The memory of the buffers goes while they are in use.
    void truncateMemory();

  private:
    static constexpr std::chrono::seconds patience{30};

    struct Memory final {
        int file = -1;
        std::uint8_t* bytes = nullptr;
        std::size_t size = 0;
    };

    void connect();
    bool trySend(const Picture& picture);
    std::uint32_t rowBytes() const { return options_.width * 4 + options_.rowPadding; }
    std::uint32_t pictureBytes() const { return rowBytes() * options_.height; }
    bool await(const std::function<bool()>& holds, std::chrono::seconds limit = patience);
    /// Until somebody reads and the picture before is through. False when nobody does.
    bool awaitTurn();
    std::vector<std::uint8_t> formatParameter() const;
    void offerBuffers();
    void addBuffer(pw_buffer& buffer);
    void removeBuffer(const pw_buffer& buffer);
    void fill(spa_buffer& buffer, const Picture& picture);
    void setState(pw_stream_state state);
    void setUnderWay(bool isUnderWay);

    Options options_;
    PipeWireClient client_;
    pw_stream_events events_{};
    spa_hook hook_{};
    pw_stream* stream_ = nullptr;
    std::uint32_t node_ = 0;
    /// The client's loop and whoever has locked it touch these.
    std::map<const spa_buffer*, Memory> memories_;
    /// The buffers are still those of a format before.
    bool isRenegotiating_ = false;
    std::uint64_t sequence_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isStreaming_ = false;
    bool isThere_ = false;
    /// The last picture is on its way to the reader. One that is sent meanwhile can be lost, which
    /// happens to no compositor: its pictures are further apart.
    bool isUnderWay_ = false;
    std::size_t readers_ = 0;
};

}  // namespace velmora
