#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/outputs/ViewerCopiedPicture.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"

namespace velmora {

namespace {

using Deadline = std::chrono::steady_clock::time_point;

constexpr std::uint32_t managerVersion = 3;
/// Up to here there is one offer of memory, later an end mark after the last.
constexpr std::uint32_t lastVersionWithOneOffer = 2;

/// Memory that can be shared with the compositor. A screen's worth of it is given back at once.
class SharedMemory final {
  public:
    explicit SharedMemory(std::size_t size)
        : size_(size), file_(::memfd_create("viewer-copy", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        // Who has the other end cannot take the memory away from under a reader.
        if (file_ >= 0 && ::ftruncate(file_, static_cast<off_t>(size)) == 0 &&
            ::fcntl(file_, F_ADD_SEALS, F_SEAL_SHRINK) == 0) {
            void* const address =
                ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0);
            bytes_ = address != MAP_FAILED ? static_cast<std::uint8_t*>(address) : nullptr;
        }
    }
    ~SharedMemory() {
        if (bytes_ != nullptr) {
            ::munmap(bytes_, size_);
        }
        ::close(file_);
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// Null when the system has none.
    std::uint8_t* bytes() const { return bytes_; }
    int file() const { return file_; }

  private:
    const std::size_t size_;
    const int file_;
    std::uint8_t* bytes_ = nullptr;
};

/// The compositor's side of one copy. Everything of it goes with the connection.
class Frame final {
  public:
    Frame(zwlr_screencopy_manager_v1* manager, wl_output* output)
        : frame_(zwlr_screencopy_manager_v1_capture_output(manager, 0, output)) {
        zwlr_screencopy_frame_v1_add_listener(frame_, &events, this);
    }
    ~Frame() { zwlr_screencopy_frame_v1_destroy(frame_); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    bool isOffered() const { return isOffered_ || hasFailed_; }
    bool isOver() const { return isReady_ || hasFailed_; }
    bool isReady() const { return isReady_; }
    /// Nothing where no offer can be read here.
    const std::optional<ViewerCopiedPicture>& picture() const { return picture_; }

    void copyTo(wl_buffer* buffer) { zwlr_screencopy_frame_v1_copy(frame_, buffer); }

  private:
    using Native = zwlr_screencopy_frame_v1;
    static Frame& of(void* data) { return *static_cast<Frame*>(data); }

    static void buffer(void* data, Native* native, std::uint32_t format, std::uint32_t width,
                       std::uint32_t height, std::uint32_t stride) {
        const ViewerCopiedPicture picture{format, width, height, stride};
        if (picture.isReadable()) {
            of(data).picture_ = picture;
        }
        if (zwlr_screencopy_frame_v1_get_version(native) <= lastVersionWithOneOffer) {
            of(data).isOffered_ = true;
        }
    }
    static void bufferDone(void* data, Native*) { of(data).isOffered_ = true; }
    static void flags(void* data, Native*, std::uint32_t bits) {
        if (of(data).picture_) {
            of(data).picture_->isUpsideDown = (bits & ZWLR_SCREENCOPY_FRAME_V1_FLAGS_Y_INVERT) != 0;
        }
    }
    static void ready(void* data, Native*, std::uint32_t, std::uint32_t, std::uint32_t) {
        of(data).isReady_ = true;
    }
    static void failed(void* data, Native*) { of(data).hasFailed_ = true; }
    static void damage(void*, Native*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {
    }
    static void dmabuf(void*, Native*, std::uint32_t, std::uint32_t, std::uint32_t) {}

    static constexpr zwlr_screencopy_frame_v1_listener events = {buffer, flags,  ready,     failed,
                                                                 damage, dmabuf, bufferDone};

    Native* const frame_;
    std::optional<ViewerCopiedPicture> picture_;
    bool isOffered_ = false;
    bool isReady_ = false;
    bool hasFailed_ = false;
};

/// Destroys a piece of the protocol with its own function.
template <auto destroy>
struct Destroyer final {
    template <typename Native>
    void operator()(Native* native) const {
        destroy(native);
    }
};
using Manager =
    std::unique_ptr<zwlr_screencopy_manager_v1, Destroyer<zwlr_screencopy_manager_v1_destroy>>;
using Memory = std::unique_ptr<wl_shm, Destroyer<wl_shm_destroy>>;
using Pool = std::unique_ptr<wl_shm_pool, Destroyer<wl_shm_pool_destroy>>;
using Buffer = std::unique_ptr<wl_buffer, Destroyer<wl_buffer_destroy>>;

/// One connection on which one output is copied once.
class Copying final {
  public:
    Copying(ViewerWaylandConnection& connection, Deadline deadline)
        : connection_(connection), deadline_(deadline), reader_(connection.display()) {}

    bool run(const ViewerWaylandOutput& wanted, const ViewerScreenCopy::Receiver& receive) {
        const bool isKnown =
            connection_.exchangeUntil([&] { return reader_.isComplete(); }, deadline_);
        const std::optional<ViewerWaylandOutput> found = isKnown ? find(wanted) : std::nullopt;
        if (!found || reader_.screenCopy().name == 0 || reader_.sharedMemory().name == 0) {
            return false;
        }
        const Manager manager(static_cast<zwlr_screencopy_manager_v1*>(wl_registry_bind(
            reader_.registry(), reader_.screenCopy().name, &zwlr_screencopy_manager_v1_interface,
            std::min(reader_.screenCopy().version, managerVersion))));
        Frame frame(manager.get(), reader_.outputWith(wanted.global));
        const bool isOffered =
            connection_.exchangeUntil([&] { return frame.isOffered(); }, deadline_);
        return isOffered && frame.picture() && receiveFrom(frame, *found, receive);
    }

  private:
    /// The output as it is now, if it is still the one that is meant.
    std::optional<ViewerWaylandOutput> find(const ViewerWaylandOutput& wanted) const {
        for (const ViewerWaylandOutput& each : reader_.outputs()) {
            if (each.global == wanted.global && each.connector == wanted.connector &&
                each.make == wanted.make && each.model == wanted.model) {
                return each;
            }
        }
        return std::nullopt;
    }

    bool receiveFrom(Frame& frame, const ViewerWaylandOutput& output,
                     const ViewerScreenCopy::Receiver& receive) {
        const ViewerCopiedPicture offered = *frame.picture();
        const SharedMemory shared(offered.bytes());
        if (shared.bytes() == nullptr) {
            return false;
        }
        const Memory memory(static_cast<wl_shm*>(wl_registry_bind(
            reader_.registry(), reader_.sharedMemory().name, &wl_shm_interface, 1)));
        const Pool pool(wl_shm_create_pool(memory.get(), shared.file(),
                                           static_cast<std::int32_t>(offered.bytes())));
        const Buffer buffer(wl_shm_pool_create_buffer(
            pool.get(), 0, static_cast<std::int32_t>(offered.width),
            static_cast<std::int32_t>(offered.height),
            static_cast<std::int32_t>(offered.bytesPerRow), offered.format));
        frame.copyTo(buffer.get());
        const bool isOver = connection_.exchangeUntil([&] { return frame.isOver(); }, deadline_);
        // A compositor may tell only after the picture that the output was turned before it.
        if (!isOver || !frame.isReady() || !connection_.roundTrip(deadline_) ||
            find(output) != output) {
            return false;
        }
        ViewerCopiedPicture picture = *frame.picture();
        picture.transform = output.transform;
        return handOver(picture, shared, receive);
    }

    static bool handOver(const ViewerCopiedPicture& picture, const SharedMemory& shared,
                         const ViewerScreenCopy::Receiver& receive) {
        if (picture.isPlain()) {
            receive(picture.plain(shared.bytes()));
            return true;
        }
        const SharedMemory seen(picture.seenBytes());
        if (seen.bytes() == nullptr) {
            return false;
        }
        receive(picture.write(shared.bytes(), seen.bytes()));
        return true;
    }

    ViewerWaylandConnection& connection_;
    const Deadline deadline_;
    const ViewerOutputReader reader_;
};

}  // namespace

bool ViewerScreenCopy::copy(const std::string& socketPath, const ViewerWaylandOutput& output,
                            const Receiver& receive) {
    const Deadline deadline = std::chrono::steady_clock::now() + ViewerScreenCapture::answerLimit;
    const ViewerWaylandConnection::Attempt attempt = ViewerWaylandConnection::connect(socketPath);
    return attempt.connection && Copying(*attempt.connection, deadline).run(output, receive);
}

}  // namespace velmora
