// Loaded before everything else into the host: has the calls fail that a test names, without making
// them. The test's word, and the count of what was called, are in the file that FAILING_CALL names
// (FailingCall.h). What the host's libraries call is meant, too; functions of PipeWire and of the
// bus are in FailingLibraries.cpp.

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>
// After <cstdio>, whose names it uses.
#include <jpeglib.h>

#include "tests/support/host/preload/FailingCall.h"
#include "tests/support/host/preload/RefusedCall.h"

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming):
// the C library's own names
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
}

namespace {

using velmora::FailingCall;
using velmora::indexOf;

constexpr std::size_t leastLarge = 2048;

FailingCall* shared = nullptr;

/// Calls the next function of that type and name, unless the call is to fail.
template <typename Function, typename... Arguments>
auto call(std::size_t index, const char* name, Arguments... arguments) {
    using Result = decltype(std::declval<Function>()(arguments...));
    if (velmora::isRefused(index)) {
        return static_cast<Result>(-1);
    }
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name))(arguments...);
}

/// The same of what a socket receives or sends. A connection that breaks is broken from then on.
template <typename Function, typename... Arguments>
ssize_t callOn(int socket, std::size_t index, const char* name, Arguments... arguments) {
    const ssize_t result = call<Function>(index, name, socket, arguments...);
    const bool isBroken =
        result < 0 && (errno == ECONNRESET || errno == EPIPE || errno == ETIMEDOUT);
    if (isBroken) {
        const int error = errno;
        (void)::syscall(SYS_shutdown, socket, SHUT_RDWR);  // it may be already
        errno = error;
    }
    return result;
}

void* allocate(std::size_t size) {
    const bool isRefused = velmora::isRefused(indexOf("new")) ||
                           (size >= leastLarge && velmora::isRefused(indexOf("large new")));
    if (const std::new_handler lacks = std::get_new_handler(); isRefused && lacks != nullptr) {
        lacks();
    }
    void* const memory = isRefused ? nullptr : __libc_malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// What the host starts fails by itself. No other thread is there yet.
// NOLINTBEGIN(concurrency-mt-unsafe)
__attribute__((constructor)) void begin() {
    const char* const path = ::getenv("FAILING_CALL");
    const int file = ::open(path, O_RDWR | O_CLOEXEC);
    void* const memory =
        ::mmap(nullptr, sizeof(FailingCall), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (file < 0 || memory == MAP_FAILED) {
        ::_exit(1);
    }
    ::close(file);
    ::unsetenv("LD_PRELOAD");
    ::unsetenv("FAILING_CALL");
    shared = static_cast<FailingCall*>(memory);
}
// NOLINTEND(concurrency-mt-unsafe)

}  // namespace

bool velmora::isRefused(std::size_t call) {
    if (shared == nullptr) {
        return false;
    }
    const int ordinal = ++shared->made[call];
    if (shared->refused != call || ordinal < shared->first || ordinal > shared->last) {
        return false;
    }
    errno = shared->error;
    return true;
}

#define VISIBLE __attribute__((visibility("default")))

VISIBLE void* operator new(std::size_t size) {
    return allocate(size);
}
VISIBLE void* operator new[](std::size_t size) {
    return allocate(size);
}

// NOLINTBEGIN(readability-identifier-naming): the system's names
extern "C" {

// What is built for large files calls these by other names.
VISIBLE int fcntl64(int descriptor, int command, ...) __attribute__((alias("fcntl")));
VISIBLE int ftruncate64(int file, off_t size) noexcept __attribute__((alias("ftruncate")));
VISIBLE void* mmap64(void* place, std::size_t size, int protection, int flags, int file,
                     off_t offset) noexcept __attribute__((alias("mmap")));
VISIBLE int open64(const char* path, int flags, ...) __attribute__((alias("open")));

VISIBLE void* malloc(std::size_t size) {
    return velmora::isRefused(indexOf("malloc")) ? nullptr : __libc_malloc(size);
}
VISIBLE void* calloc(std::size_t count, std::size_t size) {
    return velmora::isRefused(indexOf("malloc")) ? nullptr : __libc_calloc(count, size);
}
VISIBLE void* realloc(void* memory, std::size_t size) {
    return velmora::isRefused(indexOf("malloc")) ? nullptr : __libc_realloc(memory, size);
}
// Asio's, which throws what operator new would.
VISIBLE void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return velmora::isRefused(indexOf("aligned_alloc")) ? nullptr
                                                        : __libc_memalign(alignment, size);
}

VISIBLE int accept4(int socket, sockaddr* address, socklen_t* size, int flags) {
    return call<decltype(&::accept4)>(indexOf("accept4"), "accept4", socket, address, size, flags);
}
VISIBLE int bind(int socket, const sockaddr* address, socklen_t size) {
    return call<decltype(&::bind)>(indexOf("bind"), "bind", socket, address, size);
}
VISIBLE int connect(int socket, const sockaddr* address, socklen_t size) {
    return call<decltype(&::connect)>(indexOf("connect"), "connect", socket, address, size);
}
VISIBLE int dup2(int from, int to) noexcept {
    return call<int (*)(int, int)>(indexOf("dup2"), "dup2", from, to);
}
VISIBLE int epoll_create1(int flags) noexcept {
    return call<int (*)(int)>(indexOf("epoll_create1"), "epoll_create1", flags);
}
VISIBLE int epoll_ctl(int epoll, int operation, int descriptor, epoll_event* event) noexcept {
    // Only what needs memory can fail.
    if (operation == EPOLL_CTL_ADD && velmora::isRefused(indexOf("epoll_ctl"))) {
        return -1;
    }
    return static_cast<int>(::syscall(SYS_epoll_ctl, epoll, operation, descriptor, event));
}
VISIBLE int epoll_wait(int epoll, epoll_event* events, int most, int limit) {
    return call<decltype(&::epoll_wait)>(indexOf("epoll_wait"), "epoll_wait", epoll, events, most,
                                         limit);
}
VISIBLE int eventfd(unsigned int value, int flags) noexcept {
    return call<int (*)(unsigned int, int)>(indexOf("eventfd"), "eventfd", value, flags);
}
VISIBLE int fcntl(int descriptor, int command, ...) {
    std::va_list rest;
    va_start(rest, command);
    const long argument = va_arg(rest, long);
    va_end(rest);
    // The others are about what is there.
    const bool isRefused = (command == F_DUPFD_CLOEXEC || command == F_ADD_SEALS) &&
                           velmora::isRefused(indexOf("fcntl"));
    return isRefused ? -1 : static_cast<int>(::syscall(SYS_fcntl, descriptor, command, argument));
}
VISIBLE int ftruncate(int file, off_t size) noexcept {
    return call<int (*)(int, off_t)>(indexOf("ftruncate"), "ftruncate", file, size);
}
VISIBLE int getsockname(int socket, sockaddr* address, socklen_t* size) noexcept {
    return call<int (*)(int, sockaddr*, socklen_t*)>(indexOf("getsockname"), "getsockname", socket,
                                                     address, size);
}
VISIBLE int getsockopt(int socket, int level, int name, void* value, socklen_t* size) noexcept {
    return call<int (*)(int, int, int, void*, socklen_t*)>(indexOf("getsockopt"), "getsockopt",
                                                           socket, level, name, value, size);
}
VISIBLE void jpeg_start_compress(j_compress_ptr compression, boolean writesTables) {
    if (velmora::isRefused(indexOf("jpeg"))) {
        compression->err->error_exit(reinterpret_cast<j_common_ptr>(compression));
    }
    using Start = void (*)(j_compress_ptr, boolean);
    reinterpret_cast<Start>(::dlsym(RTLD_NEXT, "jpeg_start_compress"))(compression, writesTables);
}
VISIBLE int listen(int socket, int backlog) noexcept {
    return call<int (*)(int, int)>(indexOf("listen"), "listen", socket, backlog);
}
VISIBLE int memfd_create(const char* name, unsigned int flags) noexcept {
    return call<int (*)(const char*, unsigned int)>(indexOf("memfd_create"), "memfd_create", name,
                                                    flags);
}
VISIBLE char* mkdtemp(char* path) noexcept {
    using Make = char* (*)(char*);
    return velmora::isRefused(indexOf("mkdtemp"))
               ? nullptr
               : reinterpret_cast<Make>(::dlsym(RTLD_NEXT, "mkdtemp"))(path);
}
VISIBLE void* mmap(void* place, std::size_t size, int protection, int flags, int file,
                   off_t offset) noexcept {
    if (velmora::isRefused(indexOf("mmap"))) {
        return MAP_FAILED;
    }
    using Map = void* (*)(void*, std::size_t, int, int, int, off_t);
    return reinterpret_cast<Map>(::dlsym(RTLD_NEXT, "mmap"))(place, size, protection, flags, file,
                                                             offset);
}
VISIBLE int open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const mode_t mode = va_arg(rest, mode_t);
    va_end(rest);
    return velmora::isRefused(indexOf("open")) ? -1 : ::openat(AT_FDCWD, path, flags, mode);
}
VISIBLE int poll(pollfd* descriptors, nfds_t count, int limit) {
    return call<int (*)(pollfd*, nfds_t, int)>(indexOf("poll"), "poll", descriptors, count, limit);
}
VISIBLE int ppoll(pollfd* descriptors, nfds_t count, const timespec* limit, const sigset_t* mask) {
    return call<int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*)>(
        indexOf("ppoll"), "ppoll", descriptors, count, limit, mask);
}
// These two tell the error by their result.
VISIBLE int posix_spawn(pid_t* id, const char* path, const posix_spawn_file_actions_t* actions,
                        const posix_spawnattr_t* attributes, char* const* arguments,
                        char* const* environment) {
    const int result = call<int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*,
                                    const posix_spawnattr_t*, char* const*, char* const*)>(
        indexOf("posix_spawn"), "posix_spawn", id, path, actions, attributes, arguments,
        environment);
    return result == -1 ? errno : result;
}
VISIBLE int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                           void* (*body)(void*), void* argument) noexcept {
    const int result = call<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(
        indexOf("pthread_create"), "pthread_create", thread, attributes, body, argument);
    return result == -1 ? errno : result;
}
VISIBLE ssize_t recv(int socket, void* bytes, std::size_t size, int flags) {
    return callOn<decltype(&::recv)>(socket, indexOf("recv"), "recv", bytes, size, flags);
}
VISIBLE ssize_t recvmsg(int socket, msghdr* message, int flags) {
    return callOn<decltype(&::recvmsg)>(socket, indexOf("recv"), "recvmsg", message, flags);
}
VISIBLE ssize_t send(int socket, const void* bytes, std::size_t size, int flags) {
    return callOn<decltype(&::send)>(socket, indexOf("send"), "send", bytes, size, flags);
}
VISIBLE ssize_t sendmsg(int socket, const msghdr* message, int flags) {
    return callOn<decltype(&::sendmsg)>(socket, indexOf("send"), "sendmsg", message, flags);
}
VISIBLE ssize_t writev(int socket, const iovec* pieces, int count) {
    return callOn<ssize_t (*)(int, const iovec*, int)>(socket, indexOf("send"), "writev", pieces,
                                                       count);
}
VISIBLE int setsockopt(int socket, int level, int name, const void* value,
                       socklen_t size) noexcept {
    return call<int (*)(int, int, int, const void*, socklen_t)>(indexOf("setsockopt"), "setsockopt",
                                                                socket, level, name, value, size);
}
VISIBLE int shutdown(int socket, int side) noexcept {
    return call<int (*)(int, int)>(indexOf("shutdown"), "shutdown", socket, side);
}
VISIBLE int signalfd(int descriptor, const sigset_t* mask, int flags) noexcept {
    return call<int (*)(int, const sigset_t*, int)>(indexOf("signalfd"), "signalfd", descriptor,
                                                    mask, flags);
}
VISIBLE int socket(int family, int type, int protocol) noexcept {
    return call<int (*)(int, int, int)>(indexOf("socket"), "socket", family, type, protocol);
}
VISIBLE int socketpair(int family, int type, int protocol, int* sides) noexcept {
    return call<int (*)(int, int, int, int*)>(indexOf("socketpair"), "socketpair", family, type,
                                              protocol, sides);
}
VISIBLE long syscall(long number, ...) noexcept {
    std::va_list rest;
    va_start(rest, number);
    std::array<long, 6> arguments{};
    for (long& each : arguments) {
        each = va_arg(rest, long);
    }
    va_end(rest);
    if (number == SYS_pidfd_open && velmora::isRefused(indexOf("pidfd_open"))) {
        return -1;
    }
    static const auto next = reinterpret_cast<long (*)(long, ...)>(::dlsym(RTLD_NEXT, "syscall"));
    return next(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                arguments[5]);
}
VISIBLE int timerfd_create(int clock, int flags) noexcept {
    return call<int (*)(int, int)>(indexOf("timerfd_create"), "timerfd_create", clock, flags);
}
VISIBLE int waitid(idtype_t kind, id_t id, siginfo_t* end, int options) {
    return call<int (*)(idtype_t, id_t, siginfo_t*, int)>(indexOf("waitid"), "waitid", kind, id,
                                                          end, options);
}
}
// NOLINTEND(readability-identifier-naming)
