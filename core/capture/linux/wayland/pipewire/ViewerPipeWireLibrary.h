#pragma once

#include <pipewire/pipewire.h>

namespace velmora {

/// The PipeWire client library, loaded when a capture first needs it: most of what starts a host
/// never does, and some machines do not have it. Loaded once, never unloaded; any thread. What the
/// headers define inline is called as usual.
struct ViewerPipeWireLibrary final {
    /// The one of this process, ready for use; null where it is not installed. The first call reads
    /// files.
    static const ViewerPipeWireLibrary* ofProcess();

    decltype(&::pw_init) init = nullptr;
    decltype(&::pw_log_set_level) logSetLevel = nullptr;
    decltype(&::pw_loop_new) loopNew = nullptr;
    decltype(&::pw_loop_destroy) loopDestroy = nullptr;
    decltype(&::pw_properties_new_dict) propertiesNew = nullptr;
    decltype(&::pw_context_new) contextNew = nullptr;
    decltype(&::pw_context_destroy) contextDestroy = nullptr;
    decltype(&::pw_context_connect_fd) contextConnect = nullptr;
    decltype(&::pw_core_disconnect) coreDisconnect = nullptr;
    decltype(&::pw_proxy_destroy) proxyDestroy = nullptr;
    decltype(&::pw_stream_new) streamNew = nullptr;
    decltype(&::pw_stream_destroy) streamDestroy = nullptr;
    decltype(&::pw_stream_add_listener) streamAddListener = nullptr;
    decltype(&::pw_stream_connect) streamConnect = nullptr;
    decltype(&::pw_stream_update_params) streamUpdateParams = nullptr;
    decltype(&::pw_stream_dequeue_buffer) streamDequeueBuffer = nullptr;
    decltype(&::pw_stream_queue_buffer) streamQueueBuffer = nullptr;
};

}  // namespace velmora
