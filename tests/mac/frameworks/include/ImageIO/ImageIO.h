#pragma once

// The part of ImageIO that the adapters use, declared by this project: they are checked against it
// where there is no macOS.

#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>

#include <cstddef>

#pragma clang assume_nonnull begin

extern "C" {

typedef struct __attribute__((objc_bridge(id))) CGImageDestination* CGImageDestinationRef;

extern const CFStringRef kCGImageDestinationLossyCompressionQuality;

CGImageDestinationRef _Nullable CGImageDestinationCreateWithData(CFMutableDataRef data,
                                                                 CFStringRef type,
                                                                 std::size_t count,
                                                                 CFDictionaryRef _Nullable options)
    __attribute__((cf_returns_retained));
void CGImageDestinationAddImage(CGImageDestinationRef destination, CGImageRef image,
                                CFDictionaryRef _Nullable properties);
bool CGImageDestinationFinalize(CGImageDestinationRef destination);

}  // extern "C"

#pragma clang assume_nonnull end
