#include "core/capture/linux/x11/ViewerX11SharedMemory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <utility>

#include "core/capture/linux/x11/ViewerX11Reply.h"

namespace velmora {

namespace {

/// Whether the server takes memory as a descriptor.
bool takesDescriptors(xcb_connection_t* xcb) {
    const xcb_query_extension_reply_t* const extension = xcb_get_extension_data(xcb, &xcb_shm_id);
    if (extension == nullptr || extension->present == 0) {
        return false;
    }
    const ViewerX11Reply<xcb_shm_query_version_reply_t> version(
        xcb_shm_query_version_reply(xcb, xcb_shm_query_version(xcb), nullptr));
    return version != nullptr &&
           std::pair<int, int>(version->major_version, version->minor_version) >= std::pair(1, 2);
}

/// A descriptor of anonymous memory that cannot shrink under the server's hands, or -1.
int makeMemory(std::size_t size) {
    const int descriptor = ::memfd_create("viewer-capture", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor >= 0 && (::ftruncate(descriptor, static_cast<off_t>(size)) != 0 ||
                            ::fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK) != 0)) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

}  // namespace

std::unique_ptr<ViewerX11SharedMemory> ViewerX11SharedMemory::make(
    const std::shared_ptr<ViewerX11Connection>& connection, std::size_t size) {
    const int descriptor = takesDescriptors(connection->xcb()) ? makeMemory(size) : -1;
    if (descriptor < 0) {
        return nullptr;
    }
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        ::close(descriptor);
        return nullptr;
    }
    std::unique_ptr<ViewerX11SharedMemory> result(
        new ViewerX11SharedMemory(connection, memory, size));
    connection->passOn(descriptor);
    xcb_connection_t* const xcb = connection->xcb();
    const xcb_void_cookie_t request =
        xcb_shm_attach_fd_checked(xcb, result->segment_, descriptor, 0);
    // Something with an answer goes behind it: xcb_request_check() sends such a thing by itself,
    // but where that cannot be sent waits for ever for its answer (libxcb 1.15).
    const ViewerX11Reply<xcb_get_input_focus_reply_t> behind(
        xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
    if (behind == nullptr) {
        return nullptr;
    }
    const ViewerX11Reply<xcb_generic_error_t> error(xcb_request_check(xcb, request));
    return error == nullptr && !connection->isDead() ? std::move(result) : nullptr;
}

ViewerX11SharedMemory::ViewerX11SharedMemory(std::shared_ptr<ViewerX11Connection> connection,
                                             void* memory, std::size_t size)
    : connection_(std::move(connection)),
      memory_(memory),
      size_(size),
      segment_(xcb_generate_id(connection_->xcb())) {}

ViewerX11SharedMemory::~ViewerX11SharedMemory() {
    // The server lets go of its side when the connection ends, which it does with the capture.
    ::munmap(memory_, size_);
}

}  // namespace velmora
