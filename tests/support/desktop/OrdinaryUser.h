#pragma once

namespace velmora {

/// A desktop belongs to an ordinary user, and so do the programs in it.
namespace OrdinaryUser {

/// Makes a test process of root's one of the user "nobody", for good; any other stays whose it is.
/// Stops the process when that cannot be done.
void become();

}  // namespace OrdinaryUser

}  // namespace velmora
