// Whatever PipeWire says a stream's format is, it is none or one whose pictures can be read.
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireFormat.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <spa/param/format.h>
#include <spa/pod/pod.h>
#include <spa/utils/type.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

/// Memory of exactly that many bytes, as aligned as PipeWire's.
class Parameter final {
  public:
    explicit Parameter(const std::vector<std::uint8_t>& bytes)
        : memory_(static_cast<std::uint8_t*>(::operator new(bytes.size()))) {
        std::ranges::copy(bytes, memory_.get());
        // PipeWire hands over no parameter that is longer than what has arrived of it.
        auto* const pod = reinterpret_cast<spa_pod*>(memory_.get());
        pod->size = std::min<std::uint32_t>(
            pod->size, static_cast<std::uint32_t>(bytes.size() - sizeof(spa_pod)));
    }

    const spa_pod* pod() const { return reinterpret_cast<const spa_pod*>(memory_.get()); }

  private:
    struct Release final {
        void operator()(std::uint8_t* memory) const { ::operator delete(memory); }
    };

    std::unique_ptr<std::uint8_t, Release> memory_;
};

void check(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() < sizeof(spa_pod)) {
        return;
    }
    const Parameter parameter(bytes);
    const auto format = ViewerPipeWireParameters::formatIn(parameter.pod());
    if (!format) {
        return;
    }
    const auto isSide = [](std::int64_t length) {
        return length >= 1 && length <= ViewerPipeWireFormat::maximumSide;
    };
    viewerCheck(isSide(format->width) && isSide(format->height), "a picture has a size");
    (void)format->order();      // whether it can be told is all
    (void)format->pixelForm();  // the same
}

/// One of the formats that are offered, as a compositor might change it.
std::vector<std::uint8_t> changedOffer(FuzzedDataProvider& choices) {
    ViewerPipeWireParameters parameters;
    const std::vector<const spa_pod*> offers = parameters.formats();
    const spa_pod* const offer =
        offers[choices.ConsumeIntegralInRange<std::size_t>(0, offers.size() - 1)];
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(offer);
    std::vector<std::uint8_t> bytes(begin, begin + SPA_POD_SIZE(offer));
    while (choices.remaining_bytes() > 0) {
        const std::size_t place = choices.ConsumeIntegralInRange<std::size_t>(0, bytes.size() - 1);
        bytes[place] = choices.ConsumeIntegral<std::uint8_t>();
    }
    return bytes;
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    velmora::check({bytes, bytes + size});
    FuzzedDataProvider choices(bytes, size);
    velmora::check(velmora::changedOffer(choices));
    return 0;
}
