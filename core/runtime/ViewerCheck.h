#pragma once

namespace velmora {

/// Stops the process with `reason` on standard error when `holds` is false: what cannot happen has
/// happened.
void viewerCheck(bool holds, const char* reason);

}  // namespace velmora
