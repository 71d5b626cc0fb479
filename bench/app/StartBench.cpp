#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/Measuring.h"
#include "bench/capture/ChildProcess.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double listeningGoal = 30;
constexpr double dialogGoal = 150;
constexpr double memoryGoal = 10;
constexpr std::uint16_t hostPort = 9090;

double millisecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// The screen that the environment names.
class Screen final {
  public:
    Screen() : connection_(::xcb_connect(nullptr, nullptr)) {
        viewerCheck(::xcb_connection_has_error(connection_) == 0, "there is a display");
        screen_ = ::xcb_setup_roots_iterator(::xcb_get_setup(connection_)).data;
    }
    ~Screen() { ::xcb_disconnect(connection_); }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Nothing on it is black but what comes.
    void clear() {
        constexpr std::uint32_t grey = 0x808080;
        ::xcb_change_window_attributes(connection_, screen_->root, XCB_CW_BACK_PIXEL, &grey);
        ::xcb_clear_area(connection_, 0, screen_->root, 0, 0, 0, 0);
        while (showsText()) {
        }
    }

    /// Whether there are as many black pixels as a few words have.
    bool showsText() const {
        constexpr std::ptrdiff_t someLetters = 400;
        constexpr std::uint8_t nearlyBlack = 48;
        using Reply = std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)>;
        const Reply image(
            ::xcb_get_image_reply(
                connection_,
                ::xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, screen_->root, 0, 0,
                                screen_->width_in_pixels, screen_->height_in_pixels, ~0U),
                nullptr),
            &std::free);
        viewerCheck(image != nullptr, "the screen can be read");
        const std::span bytes(::xcb_get_image_data(image.get()),
                              static_cast<std::size_t>(::xcb_get_image_data_length(image.get())));
        std::ptrdiff_t black = 0;
        constexpr std::size_t bytesPerPixel = 4;
        for (std::size_t i = 0; i + bytesPerPixel <= bytes.size(); i += bytesPerPixel) {
            const auto colours = bytes.subspan(i, 3);
            black += std::ranges::all_of(colours, [](auto c) { return c < nearlyBlack; }) ? 1 : 0;
        }
        return black > someLetters;
    }

  private:
    xcb_connection_t* const connection_;
    const xcb_screen_t* screen_ = nullptr;
};

/// Has the host's port, so that the host must tell why it did not start.
class PortHolder final {
  public:
    PortHolder() : descriptor_(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(hostPort);
        const bool isHeld =
            ::bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
            ::listen(descriptor_, 1) == 0;
        viewerCheck(isHeld, "the host's port is free");
    }
    ~PortHolder() { ::close(descriptor_); }
    PortHolder(const PortHolder&) = delete;
    PortHolder& operator=(const PortHolder&) = delete;

  private:
    const int descriptor_;
};

/// The first library of a toolkit that the process has loaded; empty for none.
std::string toolkitOf(pid_t process) {
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    for (std::string line; std::getline(maps, line);) {
        for (const char* const name : {"libQt", "libgtk", "libgdk", "libglib", "libX11."}) {
            if (line.find(name) != std::string::npos) {
                return line.substr(line.find('/'));
            }
        }
    }
    return {};
}

/// One line of the table; false when the median misses its goal.
bool report(const char* what, const std::vector<double>& values, const char* unit, double goal) {
    const double middle = median(values);
    const auto [least, most] = std::ranges::minmax(values);
    std::printf("%-44s %6.1f %s  (%.1f … %.1f)  goal below %.0f\n", what, middle, unit, least, most,
                goal);
    return middle < goal;
}

bool measureStart(const std::string& host, int rounds) {
    std::vector<double> times;
    std::vector<double> memory;
    std::string toolkit;
    for (int round = 0; round < rounds; ++round) {
        const auto begin = Clock::now();
        ChildProcess process({host});
        (void)process.awaitLine("Velmora Viewer Host protocol v1 listening on TCP ");
        times.push_back(millisecondsSince(begin));
        memory.push_back(process.residentMegabytes());
        toolkit += toolkitOf(process.id());
    }
    const bool isFast = report("exec to the listening line", times, "ms", listeningGoal);
    const bool isSmall =
        report("resident memory before the first capture", memory, "MB", memoryGoal);
    std::printf("%-44s %s\n", "a toolkit's library in the host",
                toolkit.empty() ? "none" : toolkit.c_str());
    return isFast && isSmall && toolkit.empty();
}

bool measureDialog(const std::string& host, int rounds) {
    const PortHolder holder;
    Screen screen;
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        screen.clear();
        const auto begin = Clock::now();
        const ChildProcess process({host});
        while (!screen.showsText()) {
            viewerCheck(millisecondsSince(begin) < 20'000, "the host shows its alert");
        }
        times.push_back(millisecondsSince(begin));
    }
    return report("exec to an alert that can be read", times, "ms", dialogGoal);
}

}  // namespace

}  // namespace velmora::bench

/// Usage: start_bench HOST ROUNDS, on the display of the environment.
int main(int argumentCount, char** arguments) {
    const std::vector<std::string> words(arguments, arguments + argumentCount);
    if (words.size() != 3) {
        std::fprintf(stderr, "usage: start_bench HOST ROUNDS\n");
        return 2;
    }
    velmora::bench::printLoadAverage();
    const int rounds = std::stoi(words[2]);
    const bool isStartGood = velmora::bench::measureStart(words[1], rounds);
    const bool isDialogGood = velmora::bench::measureDialog(words[1], rounds);
    return isStartGood && isDialogGood ? EXIT_SUCCESS : EXIT_FAILURE;
}
