// Paints one output of a compositor, as it is told on standard input, and answers each line with
// "done" once that shows:
//   fill X Y WIDTH HEIGHT RRGGBB    one colour
//   image FILE                      the whole output: rows of 4 bytes a pixel, blue first
//   move X Y WIDTH HEIGHT           what shows there scrolls 30 times a second until
//   rest
// Places are in the output's own logical pixels. Ends when its input does.

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/desktop/painter/OutputWindow.h"

namespace {

using velmora::OutputWindow;
using velmora::viewerCheck;
using velmora::ViewerRectangle;

/// What scrolls.
struct Motion final {
    ViewerRectangle part;
    std::vector<std::uint32_t> picture;
    std::int64_t offset = 0;
};

class PaintProgram final {
  public:
    PaintProgram(wl_display* display, const std::string& output)
        : display_(display), window_(display, output) {
        constexpr long paintPeriod = 1'000'000'000L / 30;
        constexpr itimerspec period{{0, paintPeriod}, {0, paintPeriod}};
        ::timerfd_settime(timer_, 0, &period, nullptr);
    }

    /// Returns when there is nothing more to paint.
    void run() {
        bool isOpen = true;
        while (isOpen) {
            while (::wl_display_prepare_read(display_) != 0) {
                ::wl_display_dispatch_pending(display_);
            }
            ::wl_display_flush(display_);
            std::array<pollfd, 3> ready{{{::wl_display_get_fd(display_), POLLIN, 0},
                                         {STDIN_FILENO, POLLIN, 0},
                                         {motion_ ? timer_ : -1, POLLIN, 0}}};
            (void)::poll(ready.data(), ready.size(), -1);
            isOpen = ::wl_display_read_events(display_) == 0 &&
                     ::wl_display_dispatch_pending(display_) >= 0;
            if (isOpen && ready[1].revents != 0) {
                isOpen = readInput();
            }
            // The input may have ended the motion.
            if (isOpen && motion_ && ready[2].revents != 0) {
                scroll();
            }
            window_.present();
        }
    }

  private:
    bool readInput() {
        std::array<char, 4096> bytes;
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0) {
            return false;
        }
        input_.append(bytes.data(), static_cast<std::size_t>(count));
        for (std::size_t end = input_.find('\n'); end != std::string::npos;
             end = input_.find('\n')) {
            obey(input_.substr(0, end));
            input_.erase(0, end + 1);
        }
        return true;
    }

    void obey(const std::string& line) {
        std::istringstream words(line);
        std::string verb;
        words >> verb;
        if (verb == "fill") {
            const ViewerRectangle part = readPart(words);
            std::uint32_t colour = 0;
            words >> std::hex >> colour;
            window_.fill(part, colour);
        } else if (verb == "image") {
            std::string file;
            words >> file;
            showImage(file);
        } else if (verb == "move") {
            const ViewerRectangle part = readPart(words);
            motion_ = Motion{part, partOfImage(part)};
        } else {
            motion_.reset();
        }
        window_.whenShown([] { std::cout << "done" << std::endl; });
    }

    static ViewerRectangle readPart(std::istream& words) {
        ViewerRectangle part;
        words >> part.x >> part.y >> part.width >> part.height;
        return part;
    }

    void showImage(const std::string& file) {
        const ViewerRectangle whole = window_.whole();
        image_.resize(static_cast<std::size_t>(whole.area()));
        std::ifstream(file, std::ios::binary)
            .read(reinterpret_cast<char*>(image_.data()),
                  static_cast<std::streamsize>(image_.size() * sizeof(image_.front())));
        window_.put(whole, image_, 0);
    }

    std::vector<std::uint32_t> partOfImage(const ViewerRectangle& part) const {
        std::vector<std::uint32_t> picture;
        const std::int64_t width = window_.whole().width;
        for (std::int64_t y = part.y; y < part.bottom(); ++y) {
            for (std::int64_t x = part.x; x < part.right(); ++x) {
                // Without an image something that no two rows have in common.
                picture.push_back(image_.empty()
                                      ? static_cast<std::uint32_t>((y * 16 + x) & 0xffffff)
                                      : image_[static_cast<std::size_t>(y * width + x)]);
            }
        }
        return picture;
    }

    void scroll() {
        constexpr std::int64_t pixelsAPaint = 8;
        std::uint64_t expirations = 0;
        (void)!::read(timer_, &expirations, sizeof expirations);
        motion_->offset = (motion_->offset + pixelsAPaint) % motion_->part.height;
        window_.put(motion_->part, motion_->picture, motion_->offset);
    }

    wl_display* const display_;
    OutputWindow window_;
    const int timer_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
    std::string input_;
    std::vector<std::uint32_t> image_;
    std::optional<Motion> motion_;
};

}  // namespace

int main(int count, char** arguments) {
    viewerCheck(count == 2, "the painter is told the connector of an output");
    wl_display* const display = ::wl_display_connect(nullptr);
    viewerCheck(display != nullptr, "the painter finds a compositor");
    PaintProgram(display, arguments[1]).run();
    return 0;
}
