#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"

namespace velmora {

/// A receiver that keeps the newest picture of a stream, counts, and waits. Any thread.
class StreamRecorder final : public ViewerStreamReceiver {
  public:
    /// A copy of what was delivered: rows of colours 0xRRGGBB. Empty before the first frame.
    struct Picture final {
        std::int64_t width = 0;
        std::int64_t height = 0;
        std::vector<std::uint32_t> colours;

        std::uint32_t at(std::int64_t x, std::int64_t y) const {
            return colours.at(static_cast<std::size_t>(y * width + x));
        }
        /// Whether it is all of one colour.
        bool isAll(std::uint32_t colour) const;
    };
    using Judgement = std::function<bool(const Picture&)>;
    using Clock = std::chrono::steady_clock;

    /// Longer than anything that goes well takes, sanitizers included.
    static constexpr std::chrono::seconds patience{30};

    StreamRecorder() = default;
    /// Every picture is shown to `isAllowed`, on the stream's thread.
    explicit StreamRecorder(Judgement isAllowed) : isAllowed_(std::move(isAllowed)) {}

    void streamDidOutput(const ViewerStreamOutput& output) override;
    void streamDidStop() override;

    std::size_t frames() const;
    std::size_t stops() const;
    Picture latest() const;
    /// Whether each delivery was a whole picture that the test allows.
    bool isClean() const;
    /// The names of the threads that frames came on.
    std::vector<std::string> threads() const;

    /// False when it does not come in time.
    bool waitForFrames(std::size_t count, std::chrono::milliseconds limit = patience) const;
    bool waitForPicture(const Judgement& isExpected) const;
    bool waitForStop() const;
    bool waitForPictureOrStop(const Judgement& isExpected) const;
    /// Whether no frame comes for so long.
    bool staysStill(std::chrono::milliseconds duration) const;

  private:
    bool waitUntil(const std::function<bool()>& holds, std::chrono::milliseconds limit) const;

    const Judgement isAllowed_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::size_t frames_ = 0;
    std::size_t stops_ = 0;
    bool isClean_ = true;
    Picture latest_;
    std::vector<std::string> threads_;
};

}  // namespace velmora
