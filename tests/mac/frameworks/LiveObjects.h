#pragma once

#include <map>
#include <string>

namespace velmora {

/// Counts the objects of the adapters' classes and of the doubles, to see what is left over.
namespace LiveObjects {

/// How many there are of each class, by name, of those made since the first call. Classes without
/// any are left out. Any thread.
std::map<std::string, int> counts();

}  // namespace LiveObjects

}  // namespace velmora
