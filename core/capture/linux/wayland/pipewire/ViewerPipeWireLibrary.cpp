#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"

#include <optional>

#include "core/runtime/linux/ViewerLoadedLibrary.h"

namespace velmora {

namespace {

std::optional<ViewerPipeWireLibrary> load() {
    ViewerLoadedLibrary library("libpipewire-0.3.so.0");
    ViewerPipeWireLibrary found;
    library.find("pw_init", found.init);
    library.find("pw_log_set_level", found.logSetLevel);
    library.find("pw_loop_new", found.loopNew);
    library.find("pw_loop_destroy", found.loopDestroy);
    library.find("pw_properties_new_dict", found.propertiesNew);
    library.find("pw_context_new", found.contextNew);
    library.find("pw_context_destroy", found.contextDestroy);
    library.find("pw_context_connect_fd", found.contextConnect);
    library.find("pw_core_disconnect", found.coreDisconnect);
    library.find("pw_proxy_destroy", found.proxyDestroy);
    library.find("pw_stream_new", found.streamNew);
    library.find("pw_stream_destroy", found.streamDestroy);
    library.find("pw_stream_add_listener", found.streamAddListener);
    library.find("pw_stream_connect", found.streamConnect);
    library.find("pw_stream_update_params", found.streamUpdateParams);
    library.find("pw_stream_dequeue_buffer", found.streamDequeueBuffer);
    library.find("pw_stream_queue_buffer", found.streamQueueBuffer);
    if (!library.isComplete()) {
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
