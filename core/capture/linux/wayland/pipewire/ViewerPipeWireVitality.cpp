#include "core/capture/linux/wayland/pipewire/ViewerPipeWireVitality.h"

namespace velmora {

void ViewerPipeWireVitality::enter(State state, Instant now) {
    switch (state) {
        case State::streaming:
            limit_.reset();
            firstStreamed_ = firstStreamed_.value_or(now);
            break;
        case State::connecting:
        case State::paused:
            // Until it has streamed, the limit of the start goes on; a pause has one limit.
            if (!limit_) {
                limit_ = now + pauseLimit;
            }
            break;
        case State::failed:
            limit_ = now;
            break;
    }
}

}  // namespace velmora
