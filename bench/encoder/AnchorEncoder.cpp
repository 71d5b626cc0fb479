#include "bench/encoder/AnchorEncoder.h"

extern "C" {
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}
#include <turbojpeg.h>

#include <array>

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

/// Full-range planes, as JPEG wants them. swscale warns of the name's age at every start.
constexpr AVPixelFormat fullRangePlanes = AV_PIX_FMT_YUVJ420P;

}  // namespace

void AnchorEncoder::FreeScaler::operator()(SwsContext* scaler) const {
    sws_freeContext(scaler);
}

void AnchorEncoder::FreeLibrary::operator()(void* library) const {
    (void)tjDestroy(library);  // fails for a null handle only
}

AnchorEncoder::AnchorEncoder(Way way, int sourceWidth, int sourceHeight, int width, int height)
    : way_(way),
      sourceWidth_(sourceWidth),
      sourceHeight_(sourceHeight),
      width_(width),
      height_(height),
      library_(tjInitCompress()),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4),
      luma_(pixels_.size() / 4),
      blueDifference_(luma_.size() / 4),
      redDifference_(luma_.size() / 4),
      output_(tjBufSize(width, height, TJSAMP_420)) {
    av_log_set_level(AV_LOG_ERROR);
    scaler_.reset(sws_getContext(sourceWidth, sourceHeight, AV_PIX_FMT_BGR0, width, height,
                                 way == Way::pixels ? AV_PIX_FMT_BGR0 : fullRangePlanes, SWS_AREA,
                                 nullptr, nullptr, nullptr));
    viewerCheck(scaler_ != nullptr && library_ != nullptr, "the anchor can be set up");
}

void AnchorEncoder::scale(const std::vector<std::uint8_t>& source) {
    const std::array<const std::uint8_t*, 4> from{source.data()};
    const std::array<int, 4> fromBytes{sourceWidth_ * 4};
    const bool asPixels = way_ == Way::pixels;
    const std::array<std::uint8_t*, 4> to{asPixels ? pixels_.data() : luma_.data(),
                                          asPixels ? nullptr : blueDifference_.data(),
                                          asPixels ? nullptr : redDifference_.data()};
    const std::array<int, 4> toBytes{asPixels ? width_ * 4 : width_, asPixels ? 0 : width_ / 2,
                                     asPixels ? 0 : width_ / 2};
    const int rows = sws_scale(scaler_.get(), from.data(), fromBytes.data(), 0, sourceHeight_,
                               to.data(), toBytes.data());
    viewerCheck(rows == height_, "the anchor scales");
}

unsigned long AnchorEncoder::compress(int quality) {
    unsigned char* jpeg = output_.data();
    unsigned long bytes = output_.size();
    int result = -1;
    if (way_ == Way::pixels) {
        result = tjCompress2(library_.get(), pixels_.data(), width_, width_ * 4, height_, TJPF_BGRX,
                             &jpeg, &bytes, TJSAMP_420, quality, TJFLAG_NOREALLOC);
    } else {
        std::array<const unsigned char*, 3> planes{luma_.data(), blueDifference_.data(),
                                                   redDifference_.data()};
        const std::array<int, 3> strides{width_, width_ / 2, width_ / 2};
        result =
            tjCompressFromYUVPlanes(library_.get(), planes.data(), width_, strides.data(), height_,
                                    TJSAMP_420, &jpeg, &bytes, quality, TJFLAG_NOREALLOC);
    }
    viewerCheck(result == 0, "the anchor compresses");
    return bytes;
}

}  // namespace velmora::bench
