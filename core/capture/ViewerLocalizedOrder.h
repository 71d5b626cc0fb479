#pragma once

#include <string>

namespace velmora {

/// The order of names for a reader of the process's locale, defined once for each platform.
namespace ViewerLocalizedOrder {

/// Whether `a` comes before `b`: letter case counts for nothing, digits count by their value. Any
/// thread.
bool comesBefore(const std::string& a, const std::string& b);

}  // namespace ViewerLocalizedOrder

}  // namespace velmora
