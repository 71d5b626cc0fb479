#include "tests/support/pipewire/ScriptedPipeWireSource.h"

#include <poll.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::size_t regions = 16;

std::uint32_t tenBits(std::uint32_t level) {
    return level << 2 | level >> 6;
}

/// A pixel in the form that the format has.
std::uint32_t pixelOf(std::uint32_t format, std::uint32_t colour) {
    const std::uint32_t red = colour >> 16 & 0xff;
    const std::uint32_t green = colour >> 8 & 0xff;
    const std::uint32_t blue = colour & 0xff;
    switch (format) {
        case SPA_VIDEO_FORMAT_RGBx:
        case SPA_VIDEO_FORMAT_RGBA:
            return 0xaa000000 | blue << 16 | green << 8 | red;
        case SPA_VIDEO_FORMAT_xRGB_210LE:
        case SPA_VIDEO_FORMAT_ARGB_210LE:
            return 0x80000000 | tenBits(red) << 20 | tenBits(green) << 10 | tenBits(blue);
        case SPA_VIDEO_FORMAT_xBGR_210LE:
        case SPA_VIDEO_FORMAT_ABGR_210LE:
            return 0x80000000 | tenBits(blue) << 20 | tenBits(green) << 10 | tenBits(red);
        case SPA_VIDEO_FORMAT_RGBx_102LE:
        case SPA_VIDEO_FORMAT_RGBA_102LE:
            return tenBits(red) << 22 | tenBits(green) << 12 | tenBits(blue) << 2 | 2;
        case SPA_VIDEO_FORMAT_BGRx_102LE:
        case SPA_VIDEO_FORMAT_BGRA_102LE:
            return tenBits(blue) << 22 | tenBits(green) << 12 | tenBits(red) << 2 | 2;
        default:
            return 0xaa000000 | colour;
    }
}

spa_meta_region regionOf(const ViewerRectangle& rectangle) {
    spa_meta_region result{};
    result.region.position = {static_cast<std::int32_t>(rectangle.x),
                              static_cast<std::int32_t>(rectangle.y)};
    result.region.size = {static_cast<std::uint32_t>(rectangle.width),
                          static_cast<std::uint32_t>(rectangle.height)};
    return result;
}

void writeDamage(const spa_buffer& buffer, const std::vector<ViewerRectangle>& damage) {
    const spa_meta* const meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (meta == nullptr) {
        return;
    }
    std::memset(meta->data, 0, meta->size);
    for (std::size_t i = 0; i < damage.size() && (i + 1) * sizeof(spa_meta_region) <= meta->size;
         ++i) {
        const spa_meta_region region = regionOf(damage[i]);
        std::memcpy(static_cast<std::uint8_t*>(meta->data) + i * sizeof region, &region,
                    sizeof region);
    }
}

ScriptedPipeWireSource& sourceAt(void* self) {
    return *static_cast<ScriptedPipeWireSource*>(self);
}

}  // namespace

ScriptedPipeWireSource::Painting ScriptedPipeWireSource::all(std::uint32_t colour) {
    return [colour](std::int64_t, std::int64_t) { return colour; };
}

ScriptedPipeWireSource::ScriptedPipeWireSource(const PipeWireServer& server)
    : ScriptedPipeWireSource(server, Options()) {}

ScriptedPipeWireSource::ScriptedPipeWireSource(const PipeWireServer& server, Options options)
    : options_(std::move(options)), client_(server.connect()) {
    events_.version = PW_VERSION_STREAM_EVENTS;
    events_.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        sourceAt(self).setState(state);
    };
    events_.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        if (id == SPA_PARAM_Format && parameter != nullptr) {
            sourceAt(self).offerBuffers();
        }
    };
    events_.add_buffer = [](void* self, pw_buffer* buffer) { sourceAt(self).addBuffer(*buffer); };
    events_.remove_buffer = [](void* self, pw_buffer* buffer) {
        sourceAt(self).removeBuffer(*buffer);
    };
    events_.trigger_done = [](void* self) { sourceAt(self).setUnderWay(false); };
    client_.locked([this] { connect(); });
    viewerCheck(await([this] { return isThere_; }), "a scripted source gets no node");
}

ScriptedPipeWireSource::~ScriptedPipeWireSource() {
    remove();
}

void ScriptedPipeWireSource::connect() {
    stream_ = pw_stream_new(
        client_.core(), "scripted-source",
        pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_NAME,
                          options_.mediaName.c_str(), PW_KEY_NODE_NAME, "scripted", nullptr));
    pw_stream_add_listener(stream_, &hook_, &events_, this);
    const std::vector<std::uint8_t> format = formatParameter();
    const auto* parameter = reinterpret_cast<const spa_pod*>(format.data());
    const auto flags =
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_ALLOC_BUFFERS);
    viewerCheck(
        pw_stream_connect(stream_, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, &parameter, 1) >= 0,
        "a scripted source cannot connect");
}

void ScriptedPipeWireSource::setState(pw_stream_state state) {
    const std::lock_guard guard(mutex_);
    if (state == PW_STREAM_STATE_PAUSED && !isThere_) {
        node_ = pw_stream_get_node_id(stream_);
        isThere_ = true;
    }
    const bool isStreaming = state == PW_STREAM_STATE_STREAMING;
    readers_ += isStreaming && !isStreaming_ ? 1 : 0;
    isStreaming_ = isStreaming;
    isUnderWay_ = false;
    changed_.notify_all();
}

std::vector<std::uint8_t> ScriptedPipeWireSource::formatParameter() const {
    std::vector<std::uint8_t> memory(1024);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_rectangle size{options_.width, options_.height};
    const spa_fraction rate{0, 1};
    spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat,
                               SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
                               SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
                               SPA_FORMAT_VIDEO_format, SPA_POD_Id(options_.format),
                               SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size),
                               SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&rate));
    return memory;
}

void ScriptedPipeWireSource::offerBuffers() {
    std::array<std::uint8_t, 2048> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    const auto addMeta = [&](spa_meta_type type, std::size_t bytes) {
        return static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(bytes))));
    };
    std::vector<const spa_pod*> parameters;
    parameters.push_back(static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
        SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(pictureBytes())),
        SPA_PARAM_BUFFERS_stride, SPA_POD_Int(static_cast<int>(rowBytes())),
        SPA_PARAM_BUFFERS_dataType, SPA_POD_CHOICE_FLAGS_Int(1 << SPA_DATA_MemFd))));
    parameters.push_back(addMeta(SPA_META_Header, sizeof(spa_meta_header)));
    parameters.push_back(addMeta(SPA_META_VideoCrop, sizeof(spa_meta_region)));
    parameters.push_back(addMeta(SPA_META_VideoTransform, sizeof(spa_meta_videotransform)));
    if (options_.tellsDamage) {
        parameters.push_back(addMeta(SPA_META_VideoDamage, regions * sizeof(spa_meta_region)));
    }
    pw_stream_update_params(stream_, parameters.data(),
                            static_cast<std::uint32_t>(parameters.size()));
}

void ScriptedPipeWireSource::addBuffer(pw_buffer& buffer) {
    spa_data& data = buffer.buffer->datas[0];
    Memory memory;
    const std::uint32_t bytes = options_.offset + pictureBytes();
    memory.size = bytes;
    memory.file = ::memfd_create("scripted-source", MFD_CLOEXEC);
    viewerCheck(memory.file >= 0 && ::ftruncate(memory.file, bytes) == 0,
                "a scripted source has no memory");
    void* const mapping =
        ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, memory.file, 0);
    viewerCheck(mapping != MAP_FAILED, "a scripted source has no memory");
    memory.bytes = static_cast<std::uint8_t*>(mapping);
    data.type = SPA_DATA_MemFd;
    data.flags = SPA_DATA_FLAG_READWRITE;
    data.fd = memory.file;
    data.mapoffset = 0;
    data.maxsize = bytes + options_.missingBytes;
    data.data = mapping;
    memories_.emplace(buffer.buffer, memory);
    isRenegotiating_ = false;
}

void ScriptedPipeWireSource::removeBuffer(const pw_buffer& buffer) {
    const auto found = memories_.find(buffer.buffer);
    if (found != memories_.end()) {
        ::munmap(found->second.bytes, found->second.size);
        ::close(found->second.file);
        memories_.erase(found);
    }
}

bool ScriptedPipeWireSource::await(const std::function<bool()>& holds, std::chrono::seconds limit) {
    std::unique_lock guard(mutex_);
    return changed_.wait_for(guard, limit, holds);
}

bool ScriptedPipeWireSource::awaitTurn() {
    constexpr std::chrono::seconds longestCycle{3};
    const bool isStreaming = await([this] { return isStreaming_; });
    // A cycle that a reader joins in its middle may never end; the next one takes its place.
    (void)(isStreaming && await([this] { return !isUnderWay_; }, longestCycle));
    return isStreaming;
}

void ScriptedPipeWireSource::setUnderWay(bool isUnderWay) {
    const std::lock_guard guard(mutex_);
    isUnderWay_ = isUnderWay;
    changed_.notify_all();
}

std::size_t ScriptedPipeWireSource::readers() {
    const std::lock_guard guard(mutex_);
    return readers_;
}

bool ScriptedPipeWireSource::send(const Picture& picture) {
    constexpr int betweenLooks = 2;
    const auto end = std::chrono::steady_clock::now() + patience;
    bool isSent = false;
    while (!isSent && awaitTurn() && std::chrono::steady_clock::now() < end) {
        isSent = trySend(picture);
        if (!isSent) {
            ::poll(nullptr, 0, betweenLooks);
        }
    }
    return isSent;
}

std::size_t ScriptedPipeWireSource::takeFreeBuffers() {
    std::size_t count = 0;
    client_.locked([&] {
        while (pw_stream_dequeue_buffer(stream_) != nullptr) {
            ++count;
        }
    });
    return count;
}

bool ScriptedPipeWireSource::trySend(const Picture& picture) {
    bool isSent = false;
    client_.locked([&] {
        const bool isReady = stream_ != nullptr && !isRenegotiating_;
        pw_buffer* const buffer = isReady ? pw_stream_dequeue_buffer(stream_) : nullptr;
        if (buffer != nullptr) {
            fill(*buffer->buffer, picture);
            isSent = pw_stream_queue_buffer(stream_, buffer) >= 0;
            setUnderWay(true);
            pw_stream_trigger_process(stream_);
        }
    });
    return isSent;
}

void ScriptedPipeWireSource::fill(spa_buffer& buffer, const Picture& picture) {
    std::uint8_t* row = memories_.at(&buffer).bytes + options_.offset;
    for (std::uint32_t y = 0; picture.painting && y < options_.height; ++y, row += rowBytes()) {
        for (std::uint32_t x = 0; x < options_.width; ++x) {
            const std::uint32_t pixel = pixelOf(options_.format, picture.painting(x, y));
            std::memcpy(row + std::size_t{x} * sizeof pixel, &pixel, sizeof pixel);
        }
    }
    writeDamage(buffer, picture.damage);
    if (auto* const header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
        header->flags = picture.headerFlags;
        sequence_ += picture.lostBefore + 1;
        header->seq = sequence_;
    }
    if (auto* const crop = static_cast<spa_meta_region*>(
            spa_buffer_find_meta_data(&buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)))) {
        *crop = regionOf(picture.crop.value_or(ViewerRectangle()));
    }
    if (auto* const transform = static_cast<spa_meta_videotransform*>(spa_buffer_find_meta_data(
            &buffer, SPA_META_VideoTransform, sizeof(spa_meta_videotransform)))) {
        transform->transform = picture.transform;
    }
    spa_chunk& chunk = *buffer.datas[0].chunk;
    chunk.offset = options_.offset;
    chunk.size = pictureBytes();
    chunk.stride = static_cast<std::int32_t>(rowBytes());
    chunk.flags = SPA_CHUNK_FLAG_NONE;
    if (picture.spoil) {
        picture.spoil(chunk);
    }
}

void ScriptedPipeWireSource::renegotiate(std::uint32_t format, std::uint32_t width,
                                         std::uint32_t height) {
    client_.locked([&] {
        options_.format = format;
        options_.width = width;
        options_.height = height;
        isRenegotiating_ = true;
        const std::vector<std::uint8_t> memory = formatParameter();
        const auto* parameter = reinterpret_cast<const spa_pod*>(memory.data());
        pw_stream_update_params(stream_, &parameter, 1);
    });
}

void ScriptedPipeWireSource::pause() {
    client_.locked([this] { pw_stream_set_active(stream_, false); });
}

void ScriptedPipeWireSource::resume() {
    client_.locked([this] { pw_stream_set_active(stream_, true); });
}

void ScriptedPipeWireSource::remove() {
    client_.locked([this] {
        if (stream_ != nullptr) {
            pw_stream_destroy(stream_);
            stream_ = nullptr;
        }
    });
}

void ScriptedPipeWireSource::truncateMemory() {
    client_.locked([this] {
        for (const auto& [buffer, memory] : memories_) {
            viewerCheck(::ftruncate(memory.file, 0) == 0, "a file cannot be made shorter");
        }
    });
}

}  // namespace velmora
