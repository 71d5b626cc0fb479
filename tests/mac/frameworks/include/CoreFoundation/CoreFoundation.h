#pragma once

// The part of CoreFoundation that the adapters use, declared by this project: they are checked
// against it where there is no macOS.

#include <cstdint>

#pragma clang assume_nonnull begin

extern "C" {

using Boolean = unsigned char;

using CFTypeRef = const void*;
typedef const struct __attribute__((objc_bridge(id))) __CFAllocator* CFAllocatorRef;
typedef const struct __attribute__((objc_bridge(NSString))) __CFString* CFStringRef;
typedef const struct __attribute__((objc_bridge(NSArray))) __CFArray* CFArrayRef;
typedef const struct __attribute__((objc_bridge(NSDictionary))) __CFDictionary* CFDictionaryRef;
typedef struct __attribute__((objc_bridge_mutable(NSMutableData))) __CFData* CFMutableDataRef;
typedef struct __attribute__((objc_bridge(NSError))) __CFError* CFErrorRef;
typedef const struct __attribute__((objc_bridge(id))) __CFUUID* CFUUIDRef;

extern const CFAllocatorRef _Nullable kCFAllocatorDefault;

void CFRelease(CFTypeRef value);

CFStringRef _Nullable CFUUIDCreateString(CFAllocatorRef _Nullable allocator, CFUUIDRef uuid)
    __attribute__((cf_returns_retained));

}  // extern "C"

#pragma clang assume_nonnull end
