#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/host/preload/FailingCall.h"
#include "tests/support/system/HostProcess.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// How calls of one name fail, from the k-th on.
struct CallFailure final {
    std::string call;
    int error = 0;
    int times = 1;

    std::string text() const;
};

/// The failures that the system and the libraries have for these calls, the likeliest first.
std::vector<CallFailure> failuresOf(const std::string& call);

/// Has a host's calls fail. One thread.
class CallFailures final {
  public:
    CallFailures();
    ~CallFailures();
    CallFailures(const CallFailures&) = delete;
    CallFailures& operator=(const CallFailures&) = delete;

    void putInto(HostLaunch& launch) const;
    /// From now on calls are counted anew.
    void begin(const CallFailure& failure, int k);
    /// From now on none fails.
    void end();
    /// How many were made since the beginning.
    int made(const std::string& call) const;

  private:
    const TemporaryFolder folder_;
    FailingCall* shared_ = nullptr;
};

}  // namespace velmora
