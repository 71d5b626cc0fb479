#pragma once

namespace velmora {

/// What a listener does when taking the next connection has failed.
enum class ViewerAcceptFailure {
    /// That connection was lost on its way, or there was none: it waits for the next one.
    connectionGone,
    /// The system has no descriptor or memory to spare: it stops for a while, and leaves who waits
    /// where they are.
    exhausted,
    /// The listening socket itself is of no use any more.
    listenerBroken,
};

/// Tells from the error number of accept. What is unknown counts as exhausted, so that no error can
/// make a listener spin.
ViewerAcceptFailure acceptFailure(int error);

}  // namespace velmora
