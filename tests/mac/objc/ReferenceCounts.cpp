#include "tests/mac/objc/ReferenceCounts.h"

#include <Block.h>

#include <utility>

#include "tests/mac/objc/AutoreleasedBlock.h"

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the names are the
// compiler's and the libraries'
extern "C" {
velmora::bridge::Class* objc_lookUpClass(const char* name);
const velmora::bridge::Selector* sel_registerName(const char* name);
velmora::bridge::Implementation objc_msg_lookup(void* receiver,
                                                const velmora::bridge::Selector* selector);
extern void* _NSConcreteStackBlock[];
extern void* _NSConcreteMallocBlock[];
extern void* _NSConcreteGlobalBlock[];
}

namespace velmora::bridge {

namespace {

/// The runtime knows no blocks: they are counted by their own functions.
bool isBlock(void* value) {
    void** const type = *static_cast<void***>(value);
    return type == _NSConcreteStackBlock || type == _NSConcreteMallocBlock ||
           type == _NSConcreteGlobalBlock;
}

/// The beginning of every block.
struct Block {
    void* type;
    int flags;
};

/// Whether it is a copy. A block that still is where it was written lives as long as its scope and
/// is not counted: whoever keeps it asks for a copy.
bool isCounted(void* block) {
    constexpr int isOnHeap = 1 << 24;
    return (static_cast<const Block*>(block)->flags & isOnHeap) != 0;
}

}  // namespace

void* sendMessage(void* receiver, const Selector* selector) {
    return objc_msg_lookup(receiver, selector)(receiver, selector);
}

void* copied(void* value) {
    if (value == nullptr || isBlock(value)) {
        return value == nullptr ? nullptr : _Block_copy(value);
    }
    static const Selector* const copy = sel_registerName("copy");
    return sendMessage(value, copy);
}

}  // namespace velmora::bridge

extern "C" {

using namespace velmora::bridge;

void* objc_retainBlock(void* block) {
    return block == nullptr ? nullptr : _Block_copy(block);
}

void* objc_retain(void* value) {
    if (value == nullptr) {
        return nullptr;
    }
    if (isBlock(value)) {
        return isCounted(value) ? _Block_copy(value) : value;
    }
    static const Selector* const retain = sel_registerName("retain");
    return sendMessage(value, retain);
}

void objc_release(void* value) {
    if (value == nullptr) {
        return;
    }
    if (isBlock(value)) {
        if (isCounted(value)) {
            _Block_release(value);
        }
        return;
    }
    static const Selector* const release = sel_registerName("release");
    sendMessage(value, release);
}

void* objc_autorelease(void* value) {
    if (value == nullptr) {
        return nullptr;
    }
    static const Selector* const autorelease = sel_registerName("autorelease");
    sendMessage(isBlock(value) ? makeBlockKeeper(value) : value, autorelease);
    return value;
}

void* objc_retainAutorelease(void* value) {
    return objc_autorelease(objc_retain(value));
}

// Handing a returned object straight to the caller is an optimisation that needs the runtime's
// help. Here every one goes through the autorelease pool.
void* objc_autoreleaseReturnValue(void* value) {
    return objc_autorelease(value);
}
void* objc_retainAutoreleaseReturnValue(void* value) {
    return objc_retainAutorelease(value);
}
void* objc_retainAutoreleasedReturnValue(void* value) {
    return objc_retain(value);
}
void* objc_unsafeClaimAutoreleasedReturnValue(void* value) {
    return value;
}

void objc_storeStrong(void** place, void* value) {
    objc_retain(value);
    objc_release(std::exchange(*place, value));
}

void* objc_autoreleasePoolPush() {
    static Class* const pool = objc_lookUpClass("NSAutoreleasePool");
    static const Selector* const make = sel_registerName("new");
    return sendMessage(pool, make);
}

void objc_autoreleasePoolPop(void* pool) {
    static const Selector* const drain = sel_registerName("drain");
    sendMessage(pool, drain);
}
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
