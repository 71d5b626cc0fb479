// The least that a program does for a first picture of a stream: connects to a node of the PipeWire
// behind a descriptor and takes one buffer. Writes how many milliseconds that took:
//   first_buffer DESCRIPTOR NODE

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

using Clock = std::chrono::steady_clock;

struct FirstBuffer final {
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    Clock::time_point begin;
};

void takeBuffer(void* data) {
    auto& self = *static_cast<FirstBuffer*>(data);
    pw_buffer* const buffer = ::pw_stream_dequeue_buffer(self.stream);
    if (buffer == nullptr) {
        return;
    }
    const std::chrono::duration<double, std::milli> taken = Clock::now() - self.begin;
    const bool hasPicture = buffer->buffer->datas[0].chunk->size > 0;
    ::pw_stream_queue_buffer(self.stream, buffer);
    if (hasPicture) {
        std::printf("first %.3f\n", taken.count());
        std::fflush(stdout);
        ::pw_main_loop_quit(self.loop);
    }
}

/// Any size, and the commonest formats.
const spa_pod* offer(spa_pod_builder& builder) {
    const spa_rectangle usual{1920, 1080};
    const spa_rectangle least{1, 1};
    const spa_rectangle most{16384, 16384};
    const spa_fraction rate{30, 1};
    const spa_fraction slowest{0, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype,
        SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_BGRA, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &least, &most),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&slowest, &slowest, &rate)));
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        return EXIT_FAILURE;
    }
    FirstBuffer first;
    ::pw_init(nullptr, nullptr);
    first.begin = Clock::now();
    first.loop = ::pw_main_loop_new(nullptr);
    pw_context* const context = ::pw_context_new(::pw_main_loop_get_loop(first.loop), nullptr, 0);
    pw_core* const core = ::pw_context_connect_fd(context, std::atoi(arguments[1]), nullptr, 0);
    if (core == nullptr) {
        return EXIT_FAILURE;
    }
    first.stream = ::pw_stream_new(core, "first buffer",
                                   ::pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", nullptr));
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.process = takeBuffer;
    spa_hook listener{};
    ::pw_stream_add_listener(first.stream, &listener, &events, &first);
    std::array<std::uint8_t, 1024> bytes;
    spa_pod_builder builder{};
    ::spa_pod_builder_init(&builder, bytes.data(), bytes.size());
    const spa_pod* parameter = offer(builder);
    ::pw_stream_connect(
        first.stream, PW_DIRECTION_INPUT, static_cast<std::uint32_t>(std::atoi(arguments[2])),
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS),
        &parameter, 1);
    ::pw_main_loop_run(first.loop);
    return EXIT_SUCCESS;
}
