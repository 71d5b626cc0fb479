#include <CoreImage/CoreImage.h>

#include <cstddef>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/imaging/ImagingObjects.h"
#include "tests/mac/frameworks/imaging/ImagingScript.h"

using velmora::FrameworkCalls::note;

@implementation CIImage {
  @public
    FakeCVPixelBuffer* _pixels;
    CGAffineTransform _transform;
}

- (instancetype)initWithCVPixelBuffer:(CVPixelBufferRef)pixelBuffer {
    self = [super init];
    if (self != nil) {
        _pixels = (__bridge FakeCVPixelBuffer*)pixelBuffer;
        _transform = CGAffineTransformMakeScale(1, 1);
        note("CIImage initWithCVPixelBuffer", _pixels.raster.width, _pixels.raster.height);
    }
    return self;
}

- (CIImage*)imageByApplyingTransform:(CGAffineTransform)matrix {
    note("CIImage imageByApplyingTransform", matrix.a, matrix.d);
    CIImage* const image = [[CIImage alloc] init];
    image->_pixels = _pixels;
    image->_transform = matrix;
    return image;
}

@end

@implementation CIContext

- (instancetype)initWithOptions:(NSDictionary<CIContextOption, id>*)options {
    self = [super init];
    if (self != nil) {
        const id caches = options[kCIContextCacheIntermediates];
        note("CIContext initWithOptions", options.count,
             [caches isEqual:@NO] ? "without caches" : "with caches");
    }
    return self;
}

- (CGImageRef)createCGImage:(CIImage*)image fromRect:(CGRect)fromRect {
    note("CIContext createCGImage", fromRect.origin.x, fromRect.origin.y, fromRect.size.width,
         fromRect.size.height);
    if (velmora::ImagingScript::shared().rendersNothing) {
        return nullptr;
    }
    FakeCGColorSpace* const space = [[FakeCGColorSpace alloc] init];
    space.name = @"display";
    const auto width = static_cast<std::size_t>(fromRect.size.width);
    const auto height = static_cast<std::size_t>(fromRect.size.height);
    FakeCGImage* const rendered =
        [[FakeCGImage alloc] initWithRaster:image->_pixels.raster.resized(width, height)
                                 colorSpace:space];
    return (__bridge_retained CGImageRef)rendered;
}

@end
