#pragma once

#include <vector>

#include "tests/mac/objc/RuntimeRecords.h"

namespace velmora::bridge {

/// The classes that were compiled into this program; complete when main begins.
const std::vector<const Class*>& compiledClasses();

}  // namespace velmora::bridge
