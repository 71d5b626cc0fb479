#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora {

/// What happened, in order, for a test that waits for it. Any thread.
class EventLog final {
  public:
    void add(std::string event) {
        const std::lock_guard guard(mutex_);
        events_.push_back(std::move(event));
        changed_.notify_all();
    }

    /// Waits until `event` has happened `times` times. False when it does not within a generous
    /// time.
    bool waitFor(const std::string& event, std::size_t times = 1) {
        constexpr std::chrono::seconds limit{30};
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, limit, [&] { return countLocked(event) >= times; });
    }

    std::size_t count(const std::string& event) const {
        const std::lock_guard guard(mutex_);
        return countLocked(event);
    }

    std::vector<std::string> all() const {
        const std::lock_guard guard(mutex_);
        return events_;
    }

  private:
    std::size_t countLocked(const std::string& event) const {
        return static_cast<std::size_t>(std::count(events_.begin(), events_.end(), event));
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> events_;
};

}  // namespace velmora
