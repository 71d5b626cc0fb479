#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "core/capture/linux/wayland/outputs/ViewerWaylandOutputs.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

/// The outputs behind a socket, on a real loop, which runs only while a test waits, and on a clock
/// that the test moves.
class OutputsOnLoop final {
  public:
    /// Longer than anything that goes well takes, sanitizers included.
    static constexpr std::chrono::seconds patience{30};

    /// `meanwhile` is done again and again while the test waits.
    explicit OutputsOnLoop(
        const std::string& socketPath, std::function<void()> meanwhile = [] {})
        : meanwhile_(std::move(meanwhile)),
          outputs_(
              std::make_unique<ViewerWaylandOutputs>(loop_.get_executor(), clock_, socketPath)) {
        outputs_->start([this] { ++changes_; });
        outputs_->watchSession([this] { ++ends_; });
    }
    ~OutputsOnLoop() { drop(); }
    OutputsOnLoop(const OutputsOnLoop&) = delete;
    OutputsOnLoop& operator=(const OutputsOnLoop&) = delete;

    /// Runs the loop until `holds` does. False when it does not in time.
    bool until(const std::function<bool()>& holds) {
        const auto end = std::chrono::steady_clock::now() + patience;
        do {
            settle();
            if (holds()) {
                return true;
            }
            std::this_thread::yield();
        } while (std::chrono::steady_clock::now() < end);
        return false;
    }
    /// Waits until the outputs as they were last told are as `holds` says.
    bool untilTold(const std::function<bool(const ViewerOutputs::Snapshot&)>& holds) {
        return until([&] {
            const ViewerOutputs::Current current = outputs_->current();
            return current && holds(*current);
        });
    }
    /// Runs what is ready.
    void settle() {
        do {
            meanwhile_();
        } while (loop_.poll() != 0);
    }
    void pass(std::chrono::seconds time) {
        settle();
        for (std::chrono::seconds passed{0}; passed < time; ++passed) {
            clock_->advance(std::chrono::seconds(1));
            settle();
        }
    }
    void drop() {
        outputs_.reset();
        settle();
    }

    ViewerOutputs::Current current() { return outputs_->current(); }
    int changes() const { return changes_; }
    int ends() const { return ends_; }
    std::size_t pendingTimers() const { return clock_->pendingTimers(); }

  private:
    boost::asio::io_context loop_;
    const std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    const std::function<void()> meanwhile_;
    std::unique_ptr<ViewerWaylandOutputs> outputs_;
    int changes_ = 0;
    int ends_ = 0;
};

}  // namespace velmora
