#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace velmora {

/// The whole host, from its process entry on, on the doubles of macOS. Its main thread is a thread
/// of its own, which runs everything; the test says what happens there, one thing after the other.
class MacHost final {
  public:
    explicit MacHost(std::vector<const char*> arguments = {"VelmoraViewerHost"});
    /// Ends it with a signal if it has not ended.
    ~MacHost();
    MacHost(const MacHost&) = delete;
    MacHost& operator=(const MacHost&) = delete;

    /// Does something on the main thread and returns when nothing is left to do; nothing is done
    /// once the host has ended.
    void perform(std::function<void()> action);
    /// Lets virtual time pass.
    void advance(std::chrono::nanoseconds duration);
    void raise(int signal);

    /// Waits until nothing is left to do; the exit status once the host has ended.
    std::optional<int> status();

  private:
    void run(std::vector<const char*> arguments);
    void waitForAction();
    void waitUntilIdle(std::unique_lock<std::mutex>& guard);

    std::mutex lock_;
    // Guarded by `lock_`.
    std::condition_variable changed_;
    std::function<void()> action_;
    bool isIdle_ = false;
    std::optional<int> status_;
    /// Last: it uses all of the above.
    std::thread thread_;
};

}  // namespace velmora
