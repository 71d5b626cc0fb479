#pragma once

// The part of CoreGraphics that the adapters use, declared by this project: they are checked
// against it where there is no macOS.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

#pragma clang assume_nonnull begin

extern "C" {

using CGFloat = double;

struct CGPoint {
    CGFloat x;
    CGFloat y;
};
struct CGSize {
    CGFloat width;
    CGFloat height;
};
struct CGRect {
    CGPoint origin;
    CGSize size;
};
struct CGAffineTransform {
    CGFloat a;
    CGFloat b;
    CGFloat c;
    CGFloat d;
    CGFloat tx;
    CGFloat ty;
};

using CGDirectDisplayID = std::uint32_t;
// As Apple's own processors have it; unsigned on Intel's.
using boolean_t = int;
typedef struct CGImage* CGImageRef;
typedef struct CGContext* CGContextRef;
typedef struct CGColorSpace* CGColorSpaceRef;

enum CGImageAlphaInfo : std::uint32_t { kCGImageAlphaPremultipliedLast = 1 };
enum CGInterpolationQuality : std::int32_t { kCGInterpolationHigh = 3 };

extern const CFStringRef kCGColorSpaceSRGB;

CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height);
CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy);

bool CGPreflightScreenCaptureAccess(void);
bool CGRequestScreenCaptureAccess(void);
boolean_t CGDisplayIsMain(CGDirectDisplayID display);

std::size_t CGImageGetWidth(CGImageRef _Nullable image);
std::size_t CGImageGetHeight(CGImageRef _Nullable image);
CGColorSpaceRef _Nullable CGImageGetColorSpace(CGImageRef _Nullable image);
CGColorSpaceRef _Nullable CGColorSpaceCreateWithName(CFStringRef _Nullable name)
    __attribute__((cf_returns_retained));

CGContextRef _Nullable CGBitmapContextCreate(void* _Nullable data, std::size_t width,
                                             std::size_t height, std::size_t bitsPerComponent,
                                             std::size_t bytesPerRow,
                                             CGColorSpaceRef _Nullable space,
                                             std::uint32_t bitmapInfo)
    __attribute__((cf_returns_retained));
void CGContextSetInterpolationQuality(CGContextRef _Nullable context,
                                      CGInterpolationQuality quality);
void CGContextDrawImage(CGContextRef _Nullable context, CGRect rect, CGImageRef _Nullable image);
CGImageRef _Nullable CGBitmapContextCreateImage(CGContextRef _Nullable context)
    __attribute__((cf_returns_retained));

}  // extern "C"

#pragma clang assume_nonnull end
