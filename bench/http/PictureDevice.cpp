// A camera for a program that knows no other source of pictures, where the machine has none: loaded
// before the program by LD_PRELOAD, it answers in the place of a file whose name ends in ".camera",
// which the program takes for its device, and hands out once a second the JPEG that is in it. As
// much of the Video4Linux interface as it takes for that.

#include <linux/videodev2.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

void* mapMemory(void* address, size_t length, int protection, int flags, int descriptor,
                off_t offset) {
    return std::bit_cast<void*>(
        ::syscall(SYS_mmap, address, length, protection, flags, descriptor, offset));
}

class Device final {
  public:
    bool is(int descriptor) const { return descriptor_ >= 0 && descriptor == descriptor_; }

    /// The descriptor is a timer, which can be read when there is a picture.
    int open(const char* path) {
        std::ifstream file(path, std::ios::binary);
        picture_.assign(std::istreambuf_iterator<char>(file), {});
        if (picture_.empty()) {
            errno = ENODEV;
            return -1;
        }
        descriptor_ = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        return descriptor_;
    }

    /// Every buffer is the picture, in memory of its own.
    void* map(size_t length) const {
        void* const memory =
            mapMemory(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return memory == MAP_FAILED
                   ? memory
                   : std::memcpy(memory, picture_.data(), std::min(length, picture_.size()));
    }

    int control(unsigned request, void* argument) {
        switch (request) {
            case VIDIOC_QUERYCAP:
                static_cast<v4l2_capability*>(argument)->capabilities =
                    V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
                return 0;
            case VIDIOC_S_FMT:
                static_cast<v4l2_format*>(argument)->fmt.pix.sizeimage =
                    static_cast<std::uint32_t>(picture_.size());
                return 0;
            case VIDIOC_QUERYBUF:
                static_cast<v4l2_buffer*>(argument)->length =
                    static_cast<std::uint32_t>(picture_.size());
                return 0;
            case VIDIOC_QBUF:
                queue_.push_back(static_cast<v4l2_buffer*>(argument)->index);
                return 0;
            case VIDIOC_DQBUF:
                return takePicture(*static_cast<v4l2_buffer*>(argument));
            case VIDIOC_STREAMON:
                return deliver(1);
            case VIDIOC_STREAMOFF:
                queue_.clear();
                return deliver(0);
            case VIDIOC_S_INPUT:
            case VIDIOC_REQBUFS:
                return 0;
            default:
                errno = ENOTTY;
                return -1;
        }
    }

  private:
    int deliver(time_t everySeconds) const {
        const itimerspec interval{{everySeconds, 0}, {everySeconds, 0}};
        return ::timerfd_settime(descriptor_, 0, &interval, nullptr);
    }

    int takePicture(v4l2_buffer& buffer) {
        std::uint64_t expirations = 0;
        if (queue_.empty() || ::read(descriptor_, &expirations, sizeof expirations) < 0) {
            errno = EAGAIN;
            return -1;
        }
        buffer.index = queue_.front();
        queue_.pop_front();
        buffer.bytesused = static_cast<std::uint32_t>(picture_.size());
        return 0;
    }

    int descriptor_ = -1;
    std::vector<char> picture_;
    /// The buffers that the program waits to be filled.
    std::deque<std::uint32_t> queue_;
};

Device& device() {
    static auto* const everlasting = new Device();
    return *everlasting;
}

}  // namespace

// What the program calls; what it does with any other file is passed on as it is.
extern "C" {

int open(const char* path, int flags, unsigned mode) {
    constexpr int currentFolder = -100;  // AT_FDCWD, in a header that declares this function, too
    return std::string_view(path).ends_with(".camera")
               ? device().open(path)
               : static_cast<int>(::syscall(SYS_openat, currentFolder, path, flags, mode));
}

int ioctl(int descriptor, unsigned request, void* argument) {
    return device().is(descriptor)
               ? device().control(request, argument)
               : static_cast<int>(::syscall(SYS_ioctl, descriptor, request, argument));
}

void* mmap(void* address, size_t length, int protection, int flags, int descriptor, off_t offset) {
    return device().is(descriptor)
               ? device().map(length)
               : mapMemory(address, length, protection, flags, descriptor, offset);
}

}  // extern "C"
