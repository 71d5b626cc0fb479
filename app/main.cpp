#include <cstddef>
#include <exception>
#include <span>

#include "app/ViewerPlatformServices.h"
#include "app/ViewerProcessEntry.h"
#include "core/runtime/ViewerMemoryLack.h"

int main(int argumentCount, char** arguments) {
    velmora::endWhenMemoryIsLacking();
    try {
        const auto services = velmora::makePlatformServices();
        services.shell->exit(velmora::ViewerProcessEntry::run(
            services, std::span(arguments, static_cast<std::size_t>(argumentCount))));
    } catch (...) {
        std::terminate();  // tells the reason
    }
}
