#pragma once

namespace velmora {

/// Lets the next `count` registrations of a descriptor with a loop of this process fail, as they do
/// where the system has no room for one more.
void refuseRegistrations(int count);
/// How many of those have not been refused yet.
int registrationsToRefuse();

}  // namespace velmora
