#pragma once

namespace velmora {

/// From now on the system refuses this process and its later threads every IPv6 socket, as a kernel
/// without IPv6 does. Cannot be taken back. False when the system does not allow that.
bool refuseIPv6();

}  // namespace velmora
