#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

namespace velmora {

/// What a test and the library that it has loaded into a host tell each other, in memory that both
/// have mapped: which call is refused, and how often each was made. Any thread of either.
struct FailingCall final {
    /// The calls that can be refused, by name. "recv" and "send" stand for all of their kind,
    /// "jpeg" for the first call of a JPEG's compression, "malloc" for what is written in C, "new"
    /// for C++'s own allocations, "aligned_alloc" for those of Asio, and "large new" for those of
    /// at least 2,048 bytes.
    static constexpr std::array<std::string_view, 53> names{"accept4",
                                                            "aligned_alloc",
                                                            "bind",
                                                            "connect",
                                                            "dup2",
                                                            "epoll_create1",
                                                            "epoll_ctl",
                                                            "epoll_wait",
                                                            "eventfd",
                                                            "fcntl",
                                                            "ftruncate",
                                                            "getsockname",
                                                            "getsockopt",
                                                            "jpeg",
                                                            "large new",
                                                            "listen",
                                                            "malloc",
                                                            "memfd_create",
                                                            "mkdtemp",
                                                            "mmap",
                                                            "new",
                                                            "open",
                                                            "pidfd_open",
                                                            "poll",
                                                            "posix_spawn",
                                                            "ppoll",
                                                            "pthread_create",
                                                            "pw_context_connect_fd",
                                                            "pw_context_new",
                                                            "pw_loop_new",
                                                            "pw_properties_new_dict",
                                                            "pw_stream_connect",
                                                            "pw_stream_dequeue_buffer",
                                                            "pw_stream_new",
                                                            "pw_stream_update_params",
                                                            "recv",
                                                            "sd_bus_add_match_async",
                                                            "sd_bus_call_async",
                                                            "sd_bus_message_enter_container",
                                                            "sd_bus_message_new_method_call",
                                                            "sd_bus_message_open_container",
                                                            "sd_bus_open_system",
                                                            "sd_bus_open_user",
                                                            "sd_bus_process",
                                                            "sd_bus_send",
                                                            "send",
                                                            "setsockopt",
                                                            "shutdown",
                                                            "signalfd",
                                                            "socket",
                                                            "socketpair",
                                                            "timerfd_create",
                                                            "waitid"};
    static_assert(!names.back().empty());
    static constexpr std::size_t none = names.size();

    static constexpr std::size_t indexOf(std::string_view name) {
        std::size_t index = 0;
        while (index < names.size() && names[index] != name) {
            ++index;
        }
        return index;
    }

    std::atomic<std::size_t> refused{none};
    /// Those with these ordinals, from 1, are refused.
    std::atomic<int> first{0};
    std::atomic<int> last{0};
    std::atomic<int> error{0};
    std::array<std::atomic<int>, names.size()> made{};
};

}  // namespace velmora
