#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

namespace velmora {

/// What a process has started by now, and what those have. Each is held by a descriptor, so that
/// none is taken for another one once it has ended. One thread.
class Descendants final {
  public:
    explicit Descendants(pid_t process) { add(process); }
    ~Descendants();
    Descendants(const Descendants&) = delete;
    Descendants& operator=(const Descendants&) = delete;

    /// Waits until they have ended; kills those that have not within `limit`.
    void awaitEnd(std::chrono::milliseconds limit) const;

  private:
    void add(pid_t parent);

    std::vector<int> descriptors_;
};

}  // namespace velmora
