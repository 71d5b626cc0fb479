#pragma once

#include <systemd/sd-bus.h>

namespace velmora {

/// The functions of libsystemd that are used here, by names of their own.
#define VIEWER_BUS_FUNCTIONS(FUNCTION)                        \
    FUNCTION(openUser, sd_bus_open_user)                      \
    FUNCTION(openSystem, sd_bus_open_system)                  \
    FUNCTION(close, sd_bus_close)                             \
    FUNCTION(unref, sd_bus_unref)                             \
    FUNCTION(descriptor, sd_bus_get_fd)                       \
    FUNCTION(events, sd_bus_get_events)                       \
    FUNCTION(timeout, sd_bus_get_timeout)                     \
    FUNCTION(process, sd_bus_process)                         \
    FUNCTION(queuedWrites, sd_bus_get_n_queued_write)         \
    FUNCTION(uniqueName, sd_bus_get_unique_name)              \
    FUNCTION(send, sd_bus_send)                               \
    FUNCTION(callAsync, sd_bus_call_async)                    \
    FUNCTION(addMatchAsync, sd_bus_add_match_async)           \
    FUNCTION(slotUnref, sd_bus_slot_unref)                    \
    FUNCTION(isObjectPath, sd_bus_object_path_is_valid)       \
    FUNCTION(newMethodCall, sd_bus_message_new_method_call)   \
    FUNCTION(messageRef, sd_bus_message_ref)                  \
    FUNCTION(messageUnref, sd_bus_message_unref)              \
    FUNCTION(setAutoStart, sd_bus_message_set_auto_start)     \
    FUNCTION(setExpectReply, sd_bus_message_set_expect_reply) \
    FUNCTION(error, sd_bus_message_get_error)                 \
    FUNCTION(sender, sd_bus_message_get_sender)               \
    FUNCTION(path, sd_bus_message_get_path)                   \
    FUNCTION(append, sd_bus_message_append)                   \
    FUNCTION(openContainer, sd_bus_message_open_container)    \
    FUNCTION(closeContainer, sd_bus_message_close_container)  \
    FUNCTION(read, sd_bus_message_read)                       \
    FUNCTION(enterContainer, sd_bus_message_enter_container)  \
    FUNCTION(exitContainer, sd_bus_message_exit_container)    \
    FUNCTION(peekType, sd_bus_message_peek_type)              \
    FUNCTION(skip, sd_bus_message_skip)

/// libsystemd, loaded when D-Bus is first needed: linked in, it and the libraries that it brings
/// along would make every start slower (0.6 ms, as much as an empty program takes), also of a host
/// that never speaks to a bus. Main thread only.
struct ViewerBusLibrary final {
    /// Null where the library is not installed, or lacks a function.
    static const ViewerBusLibrary* load();
    /// The library where it is known to be loaded, as it is wherever there is a connection.
    static const ViewerBusLibrary& loaded();

// NOLINTNEXTLINE(bugprone-macro-parentheses): what is declared stands in none.
#define VIEWER_BUS_FUNCTION(name, function) decltype(&::function) name = nullptr;
    VIEWER_BUS_FUNCTIONS(VIEWER_BUS_FUNCTION)
#undef VIEWER_BUS_FUNCTION
};

}  // namespace velmora
