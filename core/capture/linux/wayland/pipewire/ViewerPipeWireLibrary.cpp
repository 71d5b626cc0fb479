#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"

#include <dlfcn.h>

#include <optional>

namespace velmora {

namespace {

template <typename Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

bool findAll(void* library, ViewerPipeWireLibrary& found) {
    return find(library, "pw_init", found.init) &&
           find(library, "pw_log_set_level", found.logSetLevel) &&
           find(library, "pw_loop_new", found.loopNew) &&
           find(library, "pw_loop_destroy", found.loopDestroy) &&
           find(library, "pw_properties_new_dict", found.propertiesNew) &&
           find(library, "pw_context_new", found.contextNew) &&
           find(library, "pw_context_destroy", found.contextDestroy) &&
           find(library, "pw_context_connect_fd", found.contextConnect) &&
           find(library, "pw_core_disconnect", found.coreDisconnect) &&
           find(library, "pw_proxy_destroy", found.proxyDestroy) &&
           find(library, "pw_stream_new", found.streamNew) &&
           find(library, "pw_stream_destroy", found.streamDestroy) &&
           find(library, "pw_stream_add_listener", found.streamAddListener) &&
           find(library, "pw_stream_connect", found.streamConnect) &&
           find(library, "pw_stream_update_params", found.streamUpdateParams) &&
           find(library, "pw_stream_dequeue_buffer", found.streamDequeueBuffer) &&
           find(library, "pw_stream_queue_buffer", found.streamQueueBuffer);
}

std::optional<ViewerPipeWireLibrary> load() {
    ViewerPipeWireLibrary found;
    void* const library = ::dlopen("libpipewire-0.3.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr || !findAll(library, found)) {
        return std::nullopt;
    }
    found.init(nullptr, nullptr);
    // It would write its complaints to the host's standard error.
    found.logSetLevel(SPA_LOG_LEVEL_NONE);
    return found;
}

}  // namespace

const ViewerPipeWireLibrary* ViewerPipeWireLibrary::ofProcess() {
    static const std::optional<ViewerPipeWireLibrary> library = load();
    return library ? &*library : nullptr;
}

}  // namespace velmora
