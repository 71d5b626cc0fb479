#pragma once

namespace velmora {

/// Stops the process with `reason` on standard error when `holds` is false: what cannot happen has
/// happened.
void viewerCheck(bool holds, const char* reason);

/// Where the reason goes from now on instead: to the descriptor that was standard error, while that
/// leads elsewhere. Any thread.
void tellViewerChecksTo(int descriptor);

}  // namespace velmora
