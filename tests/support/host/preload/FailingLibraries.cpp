// The second half of FailingCalls.cpp: functions of PipeWire and of the bus, which the host looks
// up by their names when it first needs them.

#include <dlfcn.h>
#include <pipewire/pipewire.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <type_traits>

#include "tests/support/host/preload/RefusedCall.h"

namespace {

/// A library's function, and what stands in its place.
template <std::size_t Index, typename Function>
struct Refusable;

template <std::size_t Index, typename Result, typename... Arguments>
struct Refusable<Index, Result(Arguments...)> final {
    static Result call(Arguments... arguments) {
        if (!velmora::isRefused(Index)) {
            return reinterpret_cast<Result (*)(Arguments...)>(function)(arguments...);
        }
        if constexpr (std::is_pointer_v<Result>) {
            return nullptr;
        } else {
            return -errno;
        }
    }

    static inline void* function = nullptr;
};

struct Entry final {
    std::string_view name;
    void* substitute = nullptr;
    void** function = nullptr;
};

template <std::size_t Index, typename Function>
Entry entryOf() {
    using Substitute = Refusable<Index, Function>;
    return {velmora::FailingCall::names[Index], reinterpret_cast<void*>(Substitute::call),
            &Substitute::function};
}

#define ENTRY(function) entryOf<velmora::indexOf(#function), decltype(::function)>()

const std::array entries{
    ENTRY(pw_context_connect_fd),
    ENTRY(pw_context_new),
    ENTRY(pw_loop_new),
    ENTRY(pw_properties_new_dict),
    ENTRY(pw_stream_connect),
    ENTRY(pw_stream_dequeue_buffer),
    ENTRY(pw_stream_new),
    ENTRY(pw_stream_update_params),
    ENTRY(sd_bus_add_match_async),
    ENTRY(sd_bus_call_async),
    ENTRY(sd_bus_message_enter_container),
    ENTRY(sd_bus_message_new_method_call),
    ENTRY(sd_bus_message_open_container),
    ENTRY(sd_bus_open_system),
    ENTRY(sd_bus_open_user),
    ENTRY(sd_bus_process),
    ENTRY(sd_bus_send),
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void* dlsym(void* library,
                                                              const char* name) noexcept {
    using LookUp = void* (*)(void*, const char*);
    static const auto next = reinterpret_cast<LookUp>(::dlvsym(RTLD_NEXT, "dlsym", "GLIBC_2.34"));
    const auto entry = std::ranges::find(entries, name, &Entry::name);
    if (entry != entries.end()) {
        *entry->function = next(library, name);
        return *entry->function != nullptr ? entry->substitute : nullptr;
    }
    // As a jump: which library is the next one depends on who calls.
    return next(library, name);
}
