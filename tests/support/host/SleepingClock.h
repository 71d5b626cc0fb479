#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

#include "tests/support/system/HostProcess.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// The clocks of a host whose machine sleeps when it is told to. No time passes for the host from
/// then on until they go on, so what happens happens because of the sleep.
class SleepingClock final {
  public:
    SleepingClock() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(::listen(listening_, 1), 0);
    }
    ~SleepingClock() {
        ::close(connection_);
        ::close(listening_);
    }
    SleepingClock(const SleepingClock&) = delete;
    SleepingClock& operator=(const SleepingClock&) = delete;

    void putInto(HostLaunch& launch) const {
        launch.environment["LD_PRELOAD"] = SLEEPING_CLOCK_PATH;
        launch.environment["SLEEPING_CLOCK"] = path_;
    }
    void fallAsleep() { happen('f'); }
    void wakeUpAfterAnHour() { happen('w'); }
    void goOn() { happen('g'); }

  private:
    void happen(char event) {
        if (connection_ < 0) {
            connection_ = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
        }
        EXPECT_EQ(::send(connection_, &event, 1, MSG_NOSIGNAL), 1);
        EXPECT_EQ(::recv(connection_, &event, 1, 0), 1);
    }

    const TemporaryFolder folder_;
    const std::string path_ = folder_.path() / "clock";
    const int listening_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int connection_ = -1;
};

}  // namespace velmora
