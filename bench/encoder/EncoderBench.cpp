// One captured frame, reduced and encoded: our encoder against swscale's area scaler with
// libjpeg-turbo, in turns in one process, one thread each. Processor time, medians of the rounds.
// Fails when a ratio or the reduced picture's quality misses what is required.

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/encoder/AnchorEncoder.h"
#include "bench/encoder/DesktopPicture.h"
#include "bench/encoder/ExactAverage.h"
#include "core/capture/ViewerJPEGEncoder.h"
#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerJPEGCompressor.h"
#include "core/capture/linux/imaging/ViewerKeptJPEG.h"
#include "core/capture/linux/imaging/ViewerYUVPlanes.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

constexpr int rounds = 11;
/// Of each measured thing in a round, so that the clock's grain does not matter.
constexpr int framesPerRound = 5;
constexpr int anchorQuality = 68;

struct Case final {
    int sourceWidth;
    int sourceHeight;
    int width;
    int height;
    double requiredRatio;
    double wantedRatio;
};

constexpr Case cases[] = {{1920, 1080, 640, 360, 0.15, 0.10},
                          {2560, 1440, 640, 360, 0.15, 0.10},
                          {3840, 2160, 640, 360, 0.15, 0.08},
                          {2560, 1600, 576, 360, 0.32, 0.18}};
constexpr double requiredDecibels = 50;
constexpr double wantedDecibels = 60;

double processorMilliseconds() {
    timespec time{};
    (void)::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);  // every Linux has it
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// The time of one frame in each round.
class Times final {
  public:
    template <class Frame>
    void measure(const Frame& frame) {
        const double begin = processorMilliseconds();
        for (int index = 0; index < framesPerRound; ++index) {
            frame();
        }
        rounds_.push_back((processorMilliseconds() - begin) / framesPerRound);
    }
    double median() const {
        std::vector<double> sorted = rounds_;
        std::ranges::sort(sorted);
        return sorted[sorted.size() / 2];
    }

  private:
    std::vector<double> rounds_;
};

struct Measured final {
    Times ours;
    Times anchor;
    Times anchorPlanes;
    Times reducing;
    Times converting;
    Times compressing;
    Times compressingNinth;
    Times compressingPiece;
    double decibels = 0;
    double anchorDecibels = 0;
};

/// Our steps one by one, on buffers of their own.
class Steps final {
  public:
    Steps(const Case& size, const std::vector<std::uint8_t>& source)
        : size_(size),
          source_(source),
          average_(size.sourceWidth, size.sourceHeight, size.width, size.height),
          pixels_(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height) * 4),
          jpeg_(size.width, size.height) {}

    void reduce() {
        average_.reduce({0, 0, size_.width, size_.height}, source_.data(),
                        static_cast<std::size_t>(size_.sourceWidth) * 4, pixels_.data(),
                        rowBytes());
    }
    void convert() { planes_.convert(reduced(), {0, 0, size_.width, size_.height}); }
    /// Of which a rectangle changed.
    void compress(const ViewerRectangle& changed) {
        const ViewerRectangle pieces = jpeg_.grid().piecesOf(changed);
        for (std::int64_t row = pieces.y; row < pieces.bottom(); ++row) {
            for (std::int64_t column = pieces.x; column < pieces.right(); ++column) {
                jpeg_.outdate(jpeg_.grid().indexOf(column, row));
            }
        }
        viewerCheck(
            jpeg_.encode(reduced(), ViewerJPEGEncoder::captureQuality, compressor_).has_value(),
            "the encoder encodes");
    }
    const std::vector<std::uint8_t>& pixels() const { return pixels_; }

  private:
    std::size_t rowBytes() const { return static_cast<std::size_t>(size_.width) * 4; }
    ViewerPixelBuffer reduced() const {
        return {size_.width, size_.height, pixels_.data(), rowBytes(), nullptr};
    }

    const Case& size_;
    const std::vector<std::uint8_t>& source_;
    ViewerAreaAverage average_;
    std::vector<std::uint8_t> pixels_;
    ViewerYUVPlanes planes_;
    ViewerKeptJPEG jpeg_;
    ViewerJPEGCompressor compressor_;
};

Measured measured(const Case& size) {
    const auto source = desktopPicture(size.sourceWidth, size.sourceHeight);
    const ViewerPixelBuffer buffer{size.sourceWidth, size.sourceHeight, source.data(),
                                   static_cast<std::size_t>(size.sourceWidth) * 4, nullptr};
    AnchorEncoder anchor(AnchorEncoder::Way::pixels, size.sourceWidth, size.sourceHeight,
                         size.width, size.height);
    AnchorEncoder planes(AnchorEncoder::Way::planes, size.sourceWidth, size.sourceHeight,
                         size.width, size.height);
    Steps steps(size, source);
    Measured result;
    for (int round = 0; round < rounds; ++round) {
        result.ours.measure([&] {
            viewerCheck(
                ViewerJPEGEncoder::encode(buffer, ViewerJPEGEncoder::captureQuality).has_value(),
                "the encoder encodes");
        });
        result.anchor.measure([&] {
            anchor.scale(source);
            (void)anchor.compress(anchorQuality);  // only its time matters
        });
        result.anchorPlanes.measure([&] {
            planes.scale(source);
            (void)planes.compress(anchorQuality);  // only its time matters
        });
        result.reducing.measure([&] { steps.reduce(); });
        result.converting.measure([&] { steps.convert(); });
        result.compressing.measure([&] { steps.compress({0, 0, size.width, size.height}); });
        result.compressingNinth.measure([&] {
            steps.compress({size.width / 3, size.height / 3, size.width / 3, size.height / 3});
        });
        result.compressingPiece.measure([&] { steps.compress({0, 0, 1, 1}); });
    }
    const auto exact =
        exactAverage(source, size.sourceWidth, size.sourceHeight, size.width, size.height);
    result.decibels = signalToNoise(steps.pixels(), exact);
    result.anchorDecibels = signalToNoise(anchor.pixels(), exact);
    return result;
}

/// Prints a case; whether it reaches what is required.
bool report(const Case& size) {
    const Measured result = measured(size);
    const double ratio = result.ours.median() / result.anchor.median();
    std::printf("%4d x %4d -> %d x %d\n", size.sourceWidth, size.sourceHeight, size.width,
                size.height);
    std::printf("  ours %.3f ms, anchor %.3f ms: ratio %.3f (required %.2f, wanted %.2f)\n",
                result.ours.median(), result.anchor.median(), ratio, size.requiredRatio,
                size.wantedRatio);
    std::printf("  anchor straight to planes %.3f ms: ratio %.3f (for information)\n",
                result.anchorPlanes.median(), result.ours.median() / result.anchorPlanes.median());
    std::printf(
        "  our steps: reduce %.3f, convert %.3f, convert and compress %.3f ms;\n"
        "  where a ninth changed %.3f, where one piece did %.3f ms\n",
        result.reducing.median(), result.converting.median(), result.compressing.median(),
        result.compressingNinth.median(), result.compressingPiece.median());
    std::printf("  reduced picture %.1f dB (required %.0f, wanted %.0f); anchor's %.1f dB\n",
                result.decibels, requiredDecibels, wantedDecibels, result.anchorDecibels);
    return ratio <= size.requiredRatio && result.decibels >= requiredDecibels;
}

}  // namespace

}  // namespace velmora::bench

int main() {
    bool isReached = true;
    for (const auto& size : velmora::bench::cases) {
        isReached = velmora::bench::report(size) && isReached;
    }
    return isReached ? EXIT_SUCCESS : EXIT_FAILURE;
}
