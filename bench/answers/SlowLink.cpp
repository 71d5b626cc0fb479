// Runs a command in a network namespace of its own, behind a slow link to the present one:
//   slow_link MILLISECONDS PERCENT COMMAND…
// Each packet takes that long, and that share of them is lost, in each direction. The command's
// side is 10.77.0.2, the other one 10.77.0.1. Needs the right to make network interfaces.

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iostream>
#include <random>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Packet final {
    Clock::time_point due;
    std::vector<char> bytes;
};

/// What is on its way from one descriptor to another.
struct Direction final {
    int from;
    int to;
    std::deque<Packet> packets;
};

sockaddr addressOf(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ::inet_pton(AF_INET, text, &address.sin_addr);
    sockaddr plain{};
    std::memcpy(&plain, &address, sizeof plain);
    return plain;
}

/// A network interface in the present namespace whose packets come out of the descriptor; -1 when
/// there cannot be one.
int makeInterface(const char* name, const char* address) {
    const int tunnel = ::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strncpy(request.ifr_name, name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    bool isMade = ::ioctl(tunnel, TUNSETIFF, &request) == 0;
    request.ifr_addr = addressOf(address);
    isMade = isMade && ::ioctl(control, SIOCSIFADDR, &request) == 0;
    request.ifr_netmask = addressOf("255.255.255.0");
    isMade = isMade && ::ioctl(control, SIOCSIFNETMASK, &request) == 0;
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    isMade = isMade && ::ioctl(control, SIOCSIFFLAGS, &request) == 0;
    ::close(control);
    return isMade ? tunnel : -1;
}

class SlowLink final {
  public:
    SlowLink(int near, int far, std::chrono::milliseconds delay, int lostPercent)
        : delay_(delay),
          lostPercent_(lostPercent),
          directions_{{{near, far, {}}, {far, near, {}}}} {}

    /// Until that process has ended; its exit status.
    int carryFor(pid_t child) {
        int status = 0;
        while (::waitpid(child, &status, WNOHANG) == 0) {
            std::array<pollfd, 2> polled{
                {{directions_[0].from, POLLIN, 0}, {directions_[1].from, POLLIN, 0}}};
            constexpr int milliseconds = 1;
            (void)::poll(polled.data(), polled.size(), milliseconds);  // both are tried
            for (Direction& direction : directions_) {
                take(direction);
                pass(direction);
            }
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }

  private:
    void take(Direction& direction) {
        std::array<char, 2048> buffer;
        ssize_t bytes = 0;
        while ((bytes = ::read(direction.from, buffer.data(), buffer.size())) > 0) {
            if (percent_(random_) >= lostPercent_) {
                direction.packets.push_back(
                    {Clock::now() + delay_, {buffer.begin(), buffer.begin() + bytes}});
            }
        }
    }

    static void pass(Direction& direction) {
        while (!direction.packets.empty() && direction.packets.front().due <= Clock::now()) {
            const std::vector<char>& bytes = direction.packets.front().bytes;
            (void)::write(direction.to, bytes.data(), bytes.size());  // one more may be lost
            direction.packets.pop_front();
        }
    }

    const std::chrono::milliseconds delay_;
    const int lostPercent_;
    std::array<Direction, 2> directions_;
    std::mt19937 random_{1};
    std::uniform_int_distribution<int> percent_{0, 99};
};

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount < 4) {
        std::cerr << "slow_link MILLISECONDS PERCENT COMMAND…\n";
        return 2;
    }
    const int near = makeInterface("near", "10.77.0.1");
    const int far = ::unshare(CLONE_NEWNET) == 0 ? makeInterface("far", "10.77.0.2") : -1;
    if (near < 0 || far < 0) {
        std::cerr << "slow_link: no network interfaces: " << std::system_category().message(errno)
                  << '\n';
        return 2;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(arguments[3], arguments + 3);
        ::_exit(127);
    }
    SlowLink link(near, far, std::chrono::milliseconds(std::atoi(arguments[1])),
                  std::atoi(arguments[2]));
    return link.carryFor(child);
}
