#include "tests/acceptance/failing/CallFailure.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <new>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

// Not here: what cannot be of these sockets and files, such as EBADF; and EAGAIN where nothing has
// come yet, which would promise that something is told of later.
const std::map<std::string, std::vector<int>>& errors() {
    static const std::vector<int> descriptors{EMFILE, ENFILE, ENOMEM};
    static const std::map<std::string, std::vector<int>> all{
        {"accept4", {EMFILE, ENFILE, ENOBUFS, ENOMEM, ECONNABORTED, EPROTO, EPERM}},
        {"aligned_alloc", {ENOMEM}},
        {"bind", {EADDRINUSE, EACCES, ENOMEM}},
        {"connect", {ECONNREFUSED, EAGAIN, ENOENT}},
        {"dup2", {EMFILE, EINTR}},
        {"epoll_create1", descriptors},
        {"epoll_ctl", {ENOMEM, ENOSPC}},
        {"epoll_wait", {EINTR}},
        {"eventfd", descriptors},
        {"fcntl", {EMFILE, EPERM, EBUSY}},
        {"ftruncate", {ENOMEM, ENOSPC, EINTR}},
        {"getsockname", {ENOBUFS}},
        {"getsockopt", {ENOBUFS, ENOPROTOOPT}},
        {"jpeg", {ENOMEM}},
        {"large new", {ENOMEM}},
        {"listen", {EADDRINUSE}},
        {"malloc", {ENOMEM}},
        {"memfd_create", descriptors},
        {"mkdtemp", {ENOSPC, EACCES}},
        {"mmap", {ENOMEM, ENFILE}},
        {"new", {ENOMEM}},
        {"open", {EMFILE, ENFILE, ENOENT, ENOMEM}},
        {"pidfd_open", descriptors},
        {"poll", {EINTR}},
        {"posix_spawn", {EAGAIN, ENOMEM, ENOENT}},
        {"ppoll", {EINTR}},
        {"pthread_create", {EAGAIN}},
        {"pw_context_connect_fd", {ENOMEM, EPROTO}},
        {"pw_context_new", {ENOMEM}},
        {"pw_loop_new", {ENOMEM}},
        {"pw_properties_new_dict", {ENOMEM}},
        {"pw_stream_connect", {ENOMEM, EIO}},
        {"pw_stream_dequeue_buffer", {EPIPE}},
        {"pw_stream_new", {ENOMEM}},
        {"pw_stream_update_params", {EIO, ENOMEM}},
        {"recv", {ECONNRESET, ETIMEDOUT}},
        {"sd_bus_add_match_async", {ENOMEM}},
        {"sd_bus_call_async", {ENOMEM, ENOTCONN, ENOBUFS}},
        {"sd_bus_message_enter_container", {EBADMSG}},
        {"sd_bus_message_new_method_call", {ENOMEM}},
        {"sd_bus_message_open_container", {ENOMEM}},
        {"sd_bus_open_system", {ECONNREFUSED, ENOENT, ENOMEM}},
        {"sd_bus_open_user", {ECONNREFUSED, ENOENT, ENOMEM}},
        {"sd_bus_process", {ECONNRESET, ENOMEM}},
        {"sd_bus_send", {ENOTCONN, ENOBUFS, ENOMEM}},
        {"send", {EPIPE, ECONNRESET, ENOBUFS, ENOMEM}},
        {"setsockopt", {ENOMEM, ENOPROTOOPT}},
        {"shutdown", {ENOTCONN}},
        {"signalfd", descriptors},
        {"socket", {EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EAFNOSUPPORT}},
        {"socketpair", {EMFILE, ENFILE, ENOMEM}},
        {"timerfd_create", descriptors},
        {"waitid", {ECHILD, EINTR}},
    };
    return all;
}

}  // namespace

std::string CallFailure::text() const {
    const char* const name = ::strerrorname_np(error);
    return call + (times > 1 ? " again and again " : " ") + (name != nullptr ? name : "0");
}

std::vector<CallFailure> failuresOf(const std::string& call) {
    std::vector<CallFailure> failures;
    for (const int error : errors().at(call)) {
        failures.push_back({call, error});
    }
    // A lack lasts a while.
    constexpr int aWhile = 4;
    if (const int first = failures.front().error; first == EMFILE || first == ENOMEM) {
        failures.push_back({call, first, aWhile});
    }
    return failures;
}

CallFailures::CallFailures() {
    const std::string path = folder_.path() / "call";
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    viewerCheck(file >= 0 && ::ftruncate(file, sizeof(FailingCall)) == 0, "the test has a file");
    void* const memory =
        ::mmap(nullptr, sizeof(FailingCall), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    viewerCheck(memory != MAP_FAILED, "the test can map its file");
    ::close(file);
    shared_ = new (memory) FailingCall;
}

CallFailures::~CallFailures() {
    ::munmap(shared_, sizeof(FailingCall));
}

void CallFailures::putInto(HostLaunch& launch) const {
    std::string& preload = launch.environment["LD_PRELOAD"];
    preload += (preload.empty() ? "" : " ") + std::string(FAILING_CALLS_PATH);
    launch.environment["FAILING_CALL"] = folder_.path() / "call";
}

void CallFailures::begin(const CallFailure& failure, int k) {
    shared_->refused = FailingCall::none;
    for (auto& each : shared_->made) {
        each = 0;
    }
    shared_->first = k;
    shared_->last = k + failure.times - 1;
    shared_->error = failure.error;
    shared_->refused = FailingCall::indexOf(failure.call);
}

void CallFailures::end() {
    shared_->refused = FailingCall::none;
}

int CallFailures::made(const std::string& call) const {
    return shared_->made.at(FailingCall::indexOf(call));
}

}  // namespace velmora
