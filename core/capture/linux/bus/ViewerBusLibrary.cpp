#include "core/capture/linux/bus/ViewerBusLibrary.h"

#include <dlfcn.h>

#include <optional>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

template <typename Function>
bool find(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

/// Never unloaded: it keeps state of its own for each thread.
std::optional<ViewerBusLibrary> open() {
    void* const library = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return std::nullopt;
    }
    ViewerBusLibrary functions;
    bool isComplete = true;
#define VIEWER_BUS_FUNCTION(name, function) \
    isComplete = find(library, #function, functions.name) && isComplete;
    VIEWER_BUS_FUNCTIONS(VIEWER_BUS_FUNCTION)
#undef VIEWER_BUS_FUNCTION
    return isComplete ? std::optional(functions) : std::nullopt;
}

}  // namespace

const ViewerBusLibrary* ViewerBusLibrary::load() {
    static const std::optional<ViewerBusLibrary> library = open();
    return library ? &*library : nullptr;
}

const ViewerBusLibrary& ViewerBusLibrary::loaded() {
    const ViewerBusLibrary* const library = load();
    viewerCheck(library != nullptr, "who has a message of a bus has its library");
    return *library;
}

}  // namespace velmora
