#include "app/mac/ViewerDispatchSignalSource.h"

#include <cstdint>

namespace velmora {

ViewerDispatchSignalSource::ViewerDispatchSignalSource(int signal, std::function<void()> handler)
    : source_(dispatch_source_create(DISPATCH_SOURCE_TYPE_SIGNAL,
                                     static_cast<std::uintptr_t>(signal), 0,
                                     dispatch_get_main_queue())) {
    dispatch_source_set_event_handler(source_, ^{
      handler();
    });
    dispatch_resume(source_);
}

ViewerDispatchSignalSource::~ViewerDispatchSignalSource() {
    dispatch_source_cancel(source_);
}

void ViewerDispatchSignalSource::cancel() {
    dispatch_source_cancel(source_);
}

}  // namespace velmora
