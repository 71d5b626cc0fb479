#include <CoreFoundation/CoreFoundation.h>
#include <Foundation/Foundation.h>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"

constinit const CFAllocatorRef kCFAllocatorDefault = nullptr;

void CFRelease(CFTypeRef value) {
    // The framework stops the process for null, and so does this.
    const id released = (__bridge_transfer id)value;
    velmora::FrameworkCalls::note("CFRelease", object_getClassName(released));
}
