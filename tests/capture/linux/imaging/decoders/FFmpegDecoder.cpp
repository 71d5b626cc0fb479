#include "tests/capture/linux/imaging/decoders/FFmpegDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cstdarg>
#include <memory>

namespace velmora {

namespace {

struct Free final {
    void operator()(AVCodecContext* decoder) const { avcodec_free_context(&decoder); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

int complaints = 0;

void countComplaint(void* /*source*/, int level, const char* /*format*/, va_list /*values*/) {
    complaints += level <= AV_LOG_WARNING ? 1 : 0;
}

void append(std::vector<std::uint8_t>& bytes, const AVFrame& frame, int plane) {
    const bool isLuma = plane == 0;
    const int width = isLuma ? frame.width : (frame.width + 1) / 2;
    const int height = isLuma ? frame.height : (frame.height + 1) / 2;
    for (int row = 0; row < height; ++row) {
        const std::uint8_t* const first =
            frame.data[plane] + std::ptrdiff_t{row} * frame.linesize[plane];
        bytes.insert(bytes.end(), first, first + width);
    }
}

}  // namespace

std::optional<std::vector<std::uint8_t>> decodedByFFmpeg(std::span<const std::uint8_t> jpeg) {
    av_log_set_callback(&countComplaint);
    complaints = 0;
    const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    const std::unique_ptr<AVCodecContext, Free> decoder(avcodec_alloc_context3(codec));
    const std::unique_ptr<AVPacket, Free> packet(av_packet_alloc());
    const std::unique_ptr<AVFrame, Free> frame(av_frame_alloc());
    if (!decoder || !packet || !frame || avcodec_open2(decoder.get(), codec, nullptr) != 0 ||
        av_new_packet(packet.get(), static_cast<int>(jpeg.size())) != 0) {
        return std::nullopt;
    }
    std::ranges::copy(jpeg, packet->data);
    if (avcodec_send_packet(decoder.get(), packet.get()) != 0 ||
        avcodec_receive_frame(decoder.get(), frame.get()) != 0 || complaints != 0 ||
        frame->format != AV_PIX_FMT_YUVJ420P) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes;
    for (const int plane : {0, 1, 2}) {
        append(bytes, *frame, plane);
    }
    return bytes;
}

}  // namespace velmora
