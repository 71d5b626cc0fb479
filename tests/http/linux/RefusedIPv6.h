#pragma once

namespace velmora {

/// From now on the system refuses this process and its later threads every IPv6 socket with that
/// error, as a kernel without IPv6 does. Cannot be taken back. False when the system does not allow
/// that.
bool refuseIPv6(int error);

}  // namespace velmora
