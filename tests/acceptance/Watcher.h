#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tests/support/host/HostTest.h"

namespace velmora {

/// A client that asks for one display's frames all the time and looks at each for its colour. Made
/// and destroyed on one thread; asks on another.
class Watcher final {
  public:
    Watcher(std::string id, std::uint32_t colour)
        : thread_([this, target = frameTarget(id), colour] {
              while (!isStopped_) {
                  look(target, colour);
              }
          }) {}
    ~Watcher() {
        isStopped_ = true;
        thread_.join();
    }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    std::size_t frames() const { return frames_; }
    /// Frames of another colour than the display's.
    std::size_t strangeFrames() const { return strangeFrames_; }
    /// Answers that are neither a frame nor the refusal of one, and those cut short.
    std::size_t strangeAnswers() const { return strangeAnswers_; }

  private:
    void look(const std::string& target, std::uint32_t colour) {
        const HTTPAnswer answer = HTTPClient::get(target);
        if (answer.status() == 200) {
            const auto picture = JPEGPicture::decode(answer.body());
            strangeFrames_ += picture && picture->isAll(colour, jpegTolerance) ? 0U : 1U;
            ++frames_;
        } else {
            const bool isRefusal = answer.status() == 404 || answer.status() == 503;
            strangeAnswers_ += isRefusal && answer.isWhole ? 0U : 1U;
        }
    }

    std::atomic<bool> isStopped_ = false;
    std::atomic<std::size_t> frames_ = 0;
    std::atomic<std::size_t> strangeFrames_ = 0;
    std::atomic<std::size_t> strangeAnswers_ = 0;
    /// Last, so that everything it uses is there before it.
    std::thread thread_;
};

}  // namespace velmora
