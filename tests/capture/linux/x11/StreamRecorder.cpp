#include "tests/capture/linux/x11/StreamRecorder.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace velmora {

namespace {

constexpr std::uint32_t colourBits = 0xffffff;

StreamRecorder::Picture copyOf(const ViewerPixelBuffer& pixels) {
    StreamRecorder::Picture result;
    result.width = pixels.width;
    result.height = pixels.height;
    const auto width = static_cast<std::size_t>(pixels.width);
    result.colours.resize(width * static_cast<std::size_t>(pixels.height));
    for (std::size_t row = 0; row < static_cast<std::size_t>(pixels.height); ++row) {
        std::memcpy(result.colours.data() + row * width, pixels.pixels + row * pixels.bytesPerRow,
                    width * sizeof(std::uint32_t));
    }
    for (std::uint32_t& each : result.colours) {
        each &= colourBits;
    }
    return result;
}

std::string currentThread() {
    std::array<char, 16> name{};
    (void)::pthread_getname_np(::pthread_self(), name.data(), name.size());
    return name.data();
}

}  // namespace

bool StreamRecorder::Picture::isAll(std::uint32_t colour) const {
    return !colours.empty() &&
           std::ranges::all_of(colours, [&](std::uint32_t each) { return each == colour; });
}

void StreamRecorder::streamDidOutput(const ViewerStreamOutput& output) {
    const bool isWhole = output.type == ViewerStreamOutputType::screen && output.isValid &&
                         output.hasAttachments &&
                         output.status == ViewerStreamOutput::completeStatus &&
                         output.pixels != nullptr && output.pixels->pixels != nullptr;
    Picture picture;
    if (isWhole) {
        picture = copyOf(*output.pixels);
    }
    const bool isAllowed = isWhole && (!isAllowed_ || isAllowed_(picture));
    const std::lock_guard guard(mutex_);
    ++frames_;
    isClean_ = isClean_ && isAllowed;
    latest_ = std::move(picture);
    threads_.push_back(currentThread());
    changed_.notify_all();
}

void StreamRecorder::streamDidStop() {
    const std::lock_guard guard(mutex_);
    ++stops_;
    changed_.notify_all();
}

std::size_t StreamRecorder::frames() const {
    const std::lock_guard guard(mutex_);
    return frames_;
}

std::size_t StreamRecorder::stops() const {
    const std::lock_guard guard(mutex_);
    return stops_;
}

StreamRecorder::Picture StreamRecorder::latest() const {
    const std::lock_guard guard(mutex_);
    return latest_;
}

bool StreamRecorder::isClean() const {
    const std::lock_guard guard(mutex_);
    return isClean_;
}

std::vector<std::string> StreamRecorder::threads() const {
    const std::lock_guard guard(mutex_);
    return threads_;
}

bool StreamRecorder::waitForFrames(std::size_t count, std::chrono::milliseconds limit) const {
    return waitUntil([&] { return frames_ >= count; }, limit);
}

bool StreamRecorder::waitForPicture(const Judgement& isExpected) const {
    return waitUntil([&] { return frames_ > 0 && isExpected(latest_); }, patience);
}

bool StreamRecorder::waitForStop() const {
    return waitUntil([&] { return stops_ > 0; }, patience);
}

bool StreamRecorder::waitForPictureOrStop(const Judgement& isExpected) const {
    return waitUntil([&] { return stops_ > 0 || (frames_ > 0 && isExpected(latest_)); }, patience);
}

bool StreamRecorder::staysStill(std::chrono::milliseconds duration) const {
    const std::size_t before = frames();
    return !waitUntil([&] { return frames_ != before; }, duration);
}

bool StreamRecorder::waitUntil(const std::function<bool()>& holds,
                               std::chrono::milliseconds limit) const {
    std::unique_lock guard(mutex_);
    return changed_.wait_for(guard, limit, holds);
}

}  // namespace velmora
