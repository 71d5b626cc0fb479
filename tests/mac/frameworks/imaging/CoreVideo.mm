#include <CoreVideo/CoreVideo.h>

#include <utility>

#include "tests/mac/frameworks/imaging/ImagingObjects.h"

@implementation FakeCVPixelBuffer {
    velmora::Raster _raster;
}

- (instancetype)initWithRaster:(velmora::Raster)raster {
    self = [super init];
    if (self != nil) {
        _raster = std::move(raster);
    }
    return self;
}

- (const velmora::Raster&)raster {
    return _raster;
}

- (CVPixelBufferRef)ref {
    return (__bridge CVPixelBufferRef)self;
}

@end

namespace {

const velmora::Raster& rasterOf(CVPixelBufferRef buffer) {
    return ((__bridge FakeCVPixelBuffer*)buffer).raster;
}

}  // namespace

std::size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer) {
    return rasterOf(buffer).width;
}

std::size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer) {
    return rasterOf(buffer).height;
}
