#include <CoreGraphics/CoreGraphics.h>

#include <cstddef>
#include <utility>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/imaging/ImagingObjects.h"
#include "tests/mac/frameworks/imaging/ImagingScript.h"

using velmora::ImagingScript;
using velmora::FrameworkCalls::note;

ImagingScript& ImagingScript::shared() {
    static ImagingScript script;
    return script;
}

@implementation FakeCGColorSpace
@end

@implementation FakeCGImage {
    velmora::Raster _raster;
}

- (instancetype)initWithRaster:(velmora::Raster)raster colorSpace:(FakeCGColorSpace*)colorSpace {
    self = [super init];
    if (self != nil) {
        _raster = std::move(raster);
        _colorSpace = colorSpace;
    }
    return self;
}

- (const velmora::Raster&)raster {
    return _raster;
}

- (CGImageRef)ref {
    return (__bridge CGImageRef)self;
}

@end

@interface FakeCGContext : NSObject
@end

@implementation FakeCGContext {
  @public
    velmora::Raster _raster;
    FakeCGColorSpace* _colorSpace;
}
@end

namespace {

template <typename Type, typename Ref>
Type* objectOf(Ref ref) {
    return (__bridge Type*)ref;
}

template <typename Ref>
Ref ownedRef(id object) {
    return (__bridge_retained Ref)object;
}

}  // namespace

CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return {{x, y}, {width, height}};
}

CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy) {
    return {sx, 0, 0, sy, 0, 0};
}

std::size_t CGImageGetWidth(CGImageRef image) {
    return objectOf<FakeCGImage>(image).raster.width;
}

std::size_t CGImageGetHeight(CGImageRef image) {
    return objectOf<FakeCGImage>(image).raster.height;
}

CGColorSpaceRef CGImageGetColorSpace(CGImageRef image) {
    return (__bridge CGColorSpaceRef)objectOf<FakeCGImage>(image).colorSpace;
}

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name) {
    NSString* const text = (__bridge NSString*)name;
    note("CGColorSpaceCreateWithName", text.UTF8String);
    if (ImagingScript::shared().hasNoSRGB) {
        return nullptr;
    }
    FakeCGColorSpace* const space = [[FakeCGColorSpace alloc] init];
    space.name = text;
    return ownedRef<CGColorSpaceRef>(space);
}

CGContextRef CGBitmapContextCreate(void* data, std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, std::size_t bytesPerRow,
                                   CGColorSpaceRef space, std::uint32_t bitmapInfo) {
    FakeCGColorSpace* const colorSpace = objectOf<FakeCGColorSpace>(space);
    note("CGBitmapContextCreate", data == nullptr ? "own memory" : "given memory", width, height,
         bitsPerComponent, bytesPerRow, colorSpace.name.UTF8String, bitmapInfo);
    if (ImagingScript::shared().makesNoBitmap) {
        return nullptr;
    }
    FakeCGContext* const context = [[FakeCGContext alloc] init];
    context->_raster = velmora::Raster::filled(width, height, 0);
    context->_colorSpace = colorSpace;
    return ownedRef<CGContextRef>(context);
}

void CGContextSetInterpolationQuality(CGContextRef /*context*/, CGInterpolationQuality quality) {
    note("CGContextSetInterpolationQuality", static_cast<int>(quality));
}

void CGContextDrawImage(CGContextRef context, CGRect rect, CGImageRef image) {
    note("CGContextDrawImage", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    objectOf<FakeCGContext>(context)->_raster = objectOf<FakeCGImage>(image).raster.resized(
        static_cast<std::size_t>(rect.size.width), static_cast<std::size_t>(rect.size.height));
}

CGImageRef CGBitmapContextCreateImage(CGContextRef context) {
    note("CGBitmapContextCreateImage");
    if (ImagingScript::shared().makesNoBitmapImage) {
        return nullptr;
    }
    FakeCGContext* const drawn = objectOf<FakeCGContext>(context);
    return ownedRef<CGImageRef>([[FakeCGImage alloc] initWithRaster:drawn->_raster
                                                         colorSpace:drawn->_colorSpace]);
}
