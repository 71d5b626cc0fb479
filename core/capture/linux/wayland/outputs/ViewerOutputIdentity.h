#pragma once

#include <filesystem>
#include <vector>

#include "core/capture/linux/identity/ViewerMonitorIdentity.h"
#include "core/capture/linux/wayland/outputs/ViewerWaylandOutput.h"

namespace velmora {

/// Who the monitors behind a compositor's outputs are. Any thread.
namespace ViewerOutputIdentity {

/// The identity of each output, in their order. Over the monitor's EDID, where the kernel has it
/// below `drmFolder`, it is the one that an X session gives it; else over connector, make and
/// model. An output of which nothing is told that could tell it from others has an empty UUID.
/// Monitors whose EDIDs agree to the last bit are told apart by their connectors. Reads a few small
/// files that the kernel answers from memory.
std::vector<ViewerMonitorIdentity> of(const std::vector<ViewerWaylandOutput>& outputs,
                                      const std::filesystem::path& drmFolder);

}  // namespace ViewerOutputIdentity

}  // namespace velmora
