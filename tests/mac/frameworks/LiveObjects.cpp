#include "tests/mac/frameworks/LiveObjects.h"

#include "tests/mac/objc/ClassRecords.h"

// NOLINTBEGIN(readability-identifier-naming): GNUstep's names
extern "C" bool GSDebugAllocationActive(bool isActive);
extern "C" int GSDebugAllocationCount(const velmora::bridge::Class* type);
// NOLINTEND(readability-identifier-naming)

namespace velmora {

std::map<std::string, int> LiveObjects::counts() {
    (void)GSDebugAllocationActive(true);  // what it was before does not matter
    std::map<std::string, int> counts;
    for (const bridge::Class* const type : bridge::compiledClasses()) {
        const int count = GSDebugAllocationCount(type);
        if (count > 0) {
            counts.emplace(type->name, count);
        }
    }
    return counts;
}

}  // namespace velmora
