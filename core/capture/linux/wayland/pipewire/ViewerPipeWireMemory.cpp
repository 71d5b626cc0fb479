#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMemory.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace velmora {

namespace {

/// Whether the file has so many bytes.
bool isAsLong(int file, std::uint64_t bytes) {
    struct stat status{};
    return ::fstat(file, &status) == 0 && std::cmp_greater_equal(status.st_size, bytes);
}

}  // namespace

ViewerPipeWireMemory::ViewerPipeWireMemory(const spa_buffer& buffer) {
    if (buffer.n_datas < 1 || buffer.datas[0].chunk == nullptr) {
        return;
    }
    const spa_data& data = buffer.datas[0];
    if (data.type == SPA_DATA_MemFd) {
        map(data);
    } else if (data.type == SPA_DATA_MemPtr && data.data != nullptr) {
        bytes_ = {static_cast<const std::uint8_t*>(data.data), data.maxsize};
    }
}

ViewerPipeWireMemory::~ViewerPipeWireMemory() {
    if (mapping_ != nullptr) {
        (void)::munmap(mapping_, mappedBytes_);  // A mapping of ours can always be given back.
    }
}

void ViewerPipeWireMemory::map(const spa_data& data) {
    const auto file = static_cast<int>(data.fd);
    const std::uint64_t begin = data.mapoffset;
    const std::uint64_t end = begin + data.maxsize;
    const auto pageBytes = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    const std::uint64_t firstPage = begin / pageBytes * pageBytes;
    void* const mapping = ::mmap(nullptr, end - firstPage, PROT_READ, MAP_SHARED, file,
                                 static_cast<off_t>(firstPage));
    if (mapping == MAP_FAILED) {
        return;
    }
    file_ = file;
    fileBytes_ = end;
    mapping_ = mapping;
    mappedBytes_ = end - firstPage;
    bytes_ = {static_cast<const std::uint8_t*>(mapping) + (begin - firstPage), data.maxsize};
}

std::span<const std::uint8_t> ViewerPipeWireMemory::bytes() const {
    const bool isWhole = mapping_ == nullptr || isAsLong(file_, fileBytes_);
    return isWhole ? bytes_ : std::span<const std::uint8_t>();
}

}  // namespace velmora
