#include "core/capture/linux/bus/ViewerBusLibrary.h"

#include <optional>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/linux/ViewerLoadedLibrary.h"

namespace velmora {

namespace {

/// Never unloaded: it keeps state of its own for each thread.
std::optional<ViewerBusLibrary> open() {
    ViewerLoadedLibrary library("libsystemd.so.0");
    ViewerBusLibrary functions;
#define VIEWER_BUS_FUNCTION(name, function) library.find(#function, functions.name);
    VIEWER_BUS_FUNCTIONS(VIEWER_BUS_FUNCTION)
#undef VIEWER_BUS_FUNCTION
    return library.isComplete() ? std::optional(functions) : std::nullopt;
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
