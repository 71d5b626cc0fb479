#include <array>
#include <utility>

#include "tests/mac/objc/RuntimeRecords.h"

// Message sends as clang writes them, on the GNU runtime's lookup.

namespace velmora::bridge {

namespace {

/// What a lookup answers: the caller takes the implementation out at once.
struct Slot {
    std::array<void*, 3> unused;
    int version;
    Implementation implementation;
};

struct Super {
    void* self;
    Class* superclass;
};

Slot* slotOf(Implementation implementation) {
    static thread_local Slot slot;
    slot.implementation = implementation;
    return &slot;
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the names are the compiler's and the runtime's
extern "C" {

Implementation objc_msg_lookup(void* receiver, const Selector* selector);
Implementation objc_msg_lookup_super(Super* super, const Selector* selector);

Slot* objc_msg_lookup_sender(void** receiver, const Selector* selector, void* /*sender*/) {
    return slotOf(objc_msg_lookup(*receiver, selector));
}

Slot* objc_slot_lookup_super(Super* super, const Selector* selector) {
    return slotOf(objc_msg_lookup_super(super, selector));
}
}
// NOLINTEND(readability-identifier-naming)

}  // namespace velmora::bridge
