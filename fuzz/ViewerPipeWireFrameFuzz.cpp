// Whatever buffers of a stream say of themselves, nothing outside their memory is read, and what
// they show becomes a preview.
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFrame.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWirePicture.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

using Kind = ViewerPipeWireFrame::Kind;

ViewerPipeWireFormat arbitraryFormat(FuzzedDataProvider& choices) {
    constexpr std::array pixels{SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_RGBA,
                                SPA_VIDEO_FORMAT_xRGB_210LE, SPA_VIDEO_FORMAT_BGRA_102LE};
    constexpr std::int64_t longestSide = 100;
    ViewerPipeWireFormat format;
    format.pixels = choices.PickValueInArray(pixels);
    format.width = choices.ConsumeIntegralInRange<std::int64_t>(1, longestSide);
    format.height = choices.ConsumeIntegralInRange<std::int64_t>(1, longestSide);
    return format;
}

/// A number that lies near `usual` more often than not.
template <typename Number>
Number numberNear(FuzzedDataProvider& choices, std::int64_t usual) {
    return choices.ConsumeBool()
               ? choices.ConsumeIntegral<Number>()
               : static_cast<Number>(usual + choices.ConsumeIntegral<std::int8_t>());
}

/// A buffer with anything in it, whose parts lie in memory of exactly their length.
class Buffer final {
  public:
    Buffer(FuzzedDataProvider& choices, const ViewerPipeWireFormat& format) {
        const std::int64_t all = format.width * format.height * 4;
        const auto spare = choices.ConsumeIntegral<std::int8_t>();
        memory_.resize(static_cast<std::size_t>(std::max<std::int64_t>(all + spare, 0)));
        fill(choices.ConsumeBytes<std::uint8_t>(100));
        chunk_.offset = choices.ConsumeBool() ? 0 : numberNear<std::uint32_t>(choices, 0);
        chunk_.size = numberNear<std::uint32_t>(choices, all);
        chunk_.stride = numberNear<std::int32_t>(choices, format.width * 4);
        chunk_.flags = choices.ConsumeBool() ? 0 : choices.ConsumeIntegral<std::int32_t>();
        data_.chunk = choices.ConsumeIntegral<std::uint8_t>() == 0 ? nullptr : &chunk_;
        addMetas(choices);
        buffer_.n_metas = static_cast<std::uint32_t>(metas_.size());
        buffer_.metas = metas_.data();
        buffer_.n_datas = choices.ConsumeIntegral<std::uint8_t>() == 0 ? 0 : 1;
        buffer_.datas = &data_;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    ViewerPipeWireFrame read(const ViewerPipeWireFormat& format) const {
        return ViewerPipeWireFrame::in(buffer_, memory_, format);
    }
    const std::vector<std::uint8_t>& memory() const { return memory_; }

  private:
    void fill(const std::vector<std::uint8_t>& pattern) {
        for (std::size_t index = 0; index < memory_.size() && !pattern.empty(); ++index) {
            memory_[index] = pattern[index % pattern.size()];
        }
    }

    /// Metadata of the known types and of others, with room for what belongs there or not.
    void addMetas(FuzzedDataProvider& choices) {
        constexpr std::array known{SPA_META_Header, SPA_META_VideoCrop, SPA_META_VideoDamage,
                                   SPA_META_VideoTransform, SPA_META_Cursor};
        const auto count = choices.ConsumeIntegralInRange<std::size_t>(0, known.size());
        for (std::size_t index = 0; index < count; ++index) {
            const auto size = choices.ConsumeIntegralInRange<std::size_t>(0, 80);
            std::vector<std::uint8_t>& content = contents_.emplace_back(size);
            const auto bytes = choices.ConsumeBytes<std::uint8_t>(size);
            std::copy(bytes.begin(), bytes.end(), content.begin());
            metas_.push_back({static_cast<std::uint32_t>(choices.PickValueInArray(known)),
                              static_cast<std::uint32_t>(size), content.data()});
        }
    }

    std::vector<std::uint8_t> memory_;
    std::vector<std::vector<std::uint8_t>> contents_;
    std::vector<spa_meta> metas_;
    spa_chunk chunk_{};
    spa_data data_{};
    spa_buffer buffer_{};
};

void checkFrame(const ViewerPipeWireFrame& frame, const Buffer& buffer,
                const ViewerPipeWireFormat& format) {
    const std::uint8_t* const end = buffer.memory().data() + buffer.memory().size();
    const std::size_t lastRow = frame.bytesPerRow * static_cast<std::size_t>(format.height - 1);
    viewerCheck(frame.pixels >= buffer.memory().data(), "a picture begins in its memory");
    viewerCheck(lastRow + static_cast<std::size_t>(format.width) * 4 <=
                    static_cast<std::size_t>(end - frame.pixels),
                "a picture ends in its memory");
    std::vector<ViewerRectangle> parts = frame.damage.value_or(std::vector<ViewerRectangle>());
    parts.push_back(frame.shown);
    for (const ViewerRectangle& part : parts) {
        viewerCheck(!part.isEmpty() && part.x >= 0 && part.y >= 0 && part.right() <= format.width &&
                        part.bottom() <= format.height,
                    "what is told of a picture lies in it");
    }
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    constexpr std::chrono::milliseconds interval{40};
    FuzzedDataProvider choices(bytes, size);
    ViewerPipeWirePicture picture(interval);
    ViewerPipeWirePicture::Instant now{std::chrono::hours(1)};
    ViewerPipeWireFormat format = arbitraryFormat(choices);
    for (int frames = 0; frames < 8 && choices.remaining_bytes() > 0; ++frames) {
        format = choices.ConsumeBool() ? format : arbitraryFormat(choices);
        const Buffer buffer(choices, format);
        const ViewerPipeWireFrame frame = buffer.read(format);
        if (frame.kind != Kind::picture) {
            picture.distrust();
            continue;
        }
        checkFrame(frame, buffer, format);
        picture.notice(frame, format, now);
        (void)picture.act(frame, now);  // whether it is another picture depends on the last one
        const auto jpeg = ViewerJPEGEncoder::encode(picture.pixels(), 0.68);
        viewerCheck(jpeg.has_value(), "what is shown becomes a preview");
        now += interval;
    }
    return 0;
}
