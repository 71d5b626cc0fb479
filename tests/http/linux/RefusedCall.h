#pragma once

namespace velmora {

/// From now on the system refuses this process and its later threads the call of that number, with
/// that error. Cannot be taken back. False when the system does not allow that.
bool refuseCall(int number, int error);

}  // namespace velmora
