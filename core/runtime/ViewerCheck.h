#pragma once

namespace velmora {

/// Stops the process with `reason` on standard error when `holds` is false: what cannot happen has
/// happened.
void viewerCheck(bool holds, const char* reason);

/// Where reasons go from now on, while what was standard error leads elsewhere. Once this returns
/// nothing is written to the descriptor before: it does not while a reason is. Any thread.
void tellViewerChecksTo(int descriptor);

}  // namespace velmora
