#include "bench/capture/wayland/PortalProgram.h"

#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

using Clock = std::chrono::steady_clock;

namespace {

std::vector<std::string> started(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"/usr/bin/python3", "-W", "ignore", RUN_GRANTED_PATH};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace

PortalProgram::PortalProgram(const std::vector<std::string>& arguments)
    : starter_(started(arguments)), id_(std::stoi(starter_.awaitLine("process "))) {}

std::vector<std::string> PortalProgram::gstreamer() {
    return {"gst-launch-1.0",
            "-q",
            "pipewiresrc",
            "fd=FD",
            "path=NODE",
            "!",
            "video/x-raw,max-framerate=25/1",
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
            "fdsink"};
}

std::vector<std::string> PortalProgram::firstBuffer() {
    return {FIRST_BUFFER_PATH, "FD", "NODE"};
}

void PortalProgram::awaitFrame() {
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
    while (readFrames(deadline) == 0) {
        viewerCheck(Clock::now() < deadline, "GStreamer captures the screen");
    }
}

std::uint64_t PortalProgram::framesWithin(std::chrono::nanoseconds duration) {
    const Clock::time_point deadline = Clock::now() + duration;
    std::uint64_t result = 0;
    while (Clock::now() < deadline) {
        result += readFrames(deadline);
    }
    return result;
}

std::uint64_t PortalProgram::readFrames(Clock::time_point deadline) {
    // A JPEG ends with this marker, and has it nowhere else.
    constexpr char markerBegin = '\xff';
    constexpr char endOfImage = '\xd9';
    std::uint64_t result = 0;
    for (const char each : starter_.read(deadline)) {
        result += isInsideMarker_ && each == endOfImage ? 1 : 0;
        isInsideMarker_ = each == markerBegin;
    }
    return result;
}

}  // namespace velmora::bench
