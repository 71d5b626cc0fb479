#pragma once

namespace velmora {

/// Stops the process with `reason` on standard error when `holds` is false: what cannot happen has
/// happened.
void viewerCheck(bool holds, const char* reason);

/// Where reasons go from now on, while standard error leads elsewhere. Where one is being written
/// it never returns, since that ends the process; else what they went to may be closed. Any thread.
void tellViewerChecksTo(int descriptor);

}  // namespace velmora
