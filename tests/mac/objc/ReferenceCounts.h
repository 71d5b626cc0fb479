#pragma once

#include "tests/mac/objc/RuntimeRecords.h"

namespace velmora::bridge {

/// Sends a message without arguments. The receiver is an object, not a block and not null.
void* sendMessage(void* receiver, const Selector* selector);

/// A block's or an object's copy, with a reference for the caller; null for null.
void* copied(void* value);

}  // namespace velmora::bridge

// NOLINTBEGIN(readability-identifier-naming): the compiler's names
extern "C" {
/// Entry points of automatic reference counting, for objects, blocks and null. Any thread.
void* objc_retain(void* value);
void objc_release(void* value);
void* objc_autorelease(void* value);

void* objc_autoreleasePoolPush();
void objc_autoreleasePoolPop(void* pool);
}
// NOLINTEND(readability-identifier-naming)
