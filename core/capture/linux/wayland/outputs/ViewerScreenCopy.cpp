#include "core/capture/linux/wayland/outputs/ViewerScreenCopy.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/wayland/outputs/ViewerCopiedPicture.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputCopy.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandConnection.h"

namespace velmora {

namespace {

using Deadline = std::chrono::steady_clock::time_point;

/// Memory that can be shared with the compositor. A screen's worth of it is given back at once.
class SharedMemory final {
  public:
    explicit SharedMemory(std::size_t size)
        : size_(size), file_(::memfd_create("viewer-copy", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        // Who has the other end cannot take the memory away from under a reader.
        if (::ftruncate(file_, static_cast<off_t>(size)) == 0 &&
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

/// Destroys a piece of the protocol with its own function.
template <auto destroy>
struct Destroyer final {
    template <typename Native>
    void operator()(Native* native) const {
        destroy(native);
    }
};
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
        const std::unique_ptr<ViewerOutputCopy> copy = found && reader_.sharedMemory().name != 0
                                                           ? ViewerOutputCopy::ask(reader_, *found)
                                                           : nullptr;
        const bool isOffered =
            copy && connection_.exchangeUntil([&] { return copy->isOffered(); }, deadline_);
        return isOffered && copy->picture() && receiveFrom(*copy, *found, receive);
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

    bool receiveFrom(ViewerOutputCopy& copy, const ViewerWaylandOutput& output,
                     const ViewerScreenCopy::Receiver& receive) {
        const ViewerCopiedPicture offered = *copy.picture();
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
        copy.fill(buffer.get());
        const bool isOver = connection_.exchangeUntil([&] { return copy.isOver(); }, deadline_);
        // A compositor may tell only after the picture that the output was turned before it.
        if (!isOver || !copy.isReady() || !connection_.roundTrip(deadline_) ||
            find(output) != output) {
            return false;
        }
        // The memory has the layout that was offered first, whatever was told since.
        ViewerCopiedPicture picture = offered;
        picture.isUpsideDown = copy.picture()->isUpsideDown;
        picture.transform = copy.picture()->transform;
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
