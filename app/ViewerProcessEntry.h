#pragma once

#include <span>

#include "app/ViewerPlatformServices.h"

namespace velmora {

/// What the process does from its command line to its exit status. Main thread.
namespace ViewerProcessEntry {

inline constexpr int permissionGrantedStatus = 0;
/// Not 1, the status of a program that failed: this one has answered.
inline constexpr int permissionMissingStatus = 2;

/// Runs the permission check when `--check-permission` stands anywhere among `arguments`, the
/// program's path included; else the host. Yields the exit status.
int run(const ViewerPlatformServices& services, std::span<const char* const> arguments);

}  // namespace ViewerProcessEntry

}  // namespace velmora
