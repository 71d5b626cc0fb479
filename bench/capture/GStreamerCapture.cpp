#include "bench/capture/GStreamerCapture.h"

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

using Clock = std::chrono::steady_clock;

GStreamerCapture::GStreamerCapture()
    // While something moves, damage notices cost it more than they save.
    : process_({"gst-launch-1.0",
                "-q",
                "ximagesrc",
                "use-damage=false",
                "show-pointer=false",
                "!",
                "video/x-raw,framerate=25/1",
                "!",
                "videoscale",
                "method=bilinear2",
                "!",
                "video/x-raw,width=640,height=360",
                "!",
                "videoconvert",
                "!",
                "video/x-raw,format=I420",
                "!",
                "jpegenc",
                "quality=68",
                "!",
                "fdsink"}) {}

void GStreamerCapture::awaitFrame() {
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(10);
    bool isThere = false;
    while (!isThere) {
        viewerCheck(Clock::now() < deadline, "GStreamer captures the screen");
        isThere = readFrames(deadline) > 0;
    }
}

std::uint64_t GStreamerCapture::framesWithin(std::chrono::nanoseconds duration) {
    const Clock::time_point deadline = Clock::now() + duration;
    std::uint64_t result = 0;
    while (Clock::now() < deadline) {
        result += readFrames(deadline);
    }
    return result;
}

std::uint64_t GStreamerCapture::readFrames(Clock::time_point deadline) {
    // A JPEG ends with this marker, and has it nowhere else.
    constexpr char markerBegin = '\xff';
    constexpr char endOfImage = '\xd9';
    std::uint64_t result = 0;
    for (const char each : process_.read(deadline)) {
        result += isInsideMarker_ && each == endOfImage ? 1 : 0;
        isInsideMarker_ = each == markerBegin;
    }
    return result;
}

}  // namespace velmora::bench
