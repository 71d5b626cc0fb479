#pragma once

#include <CoreGraphics/CoreGraphics.h>
#include <CoreVideo/CoreVideo.h>
#include <Foundation/Foundation.h>

#include "tests/mac/frameworks/imaging/Raster.h"

/// A captured picture.
@interface FakeCVPixelBuffer : NSObject
- (nonnull instancetype)initWithRaster:(velmora::Raster)raster;
@property(nonatomic, readonly) const velmora::Raster& raster;
@property(nonatomic, readonly, nonnull) CVPixelBufferRef ref;
@end

@interface FakeCGColorSpace : NSObject
@property(nonatomic, copy, nonnull) NSString* name;
@end

/// A rendered image; the colour space may be missing.
@interface FakeCGImage : NSObject
- (nonnull instancetype)initWithRaster:(velmora::Raster)raster
                            colorSpace:(nullable FakeCGColorSpace*)colorSpace;
@property(nonatomic, readonly) const velmora::Raster& raster;
@property(nonatomic, readonly, nullable) FakeCGColorSpace* colorSpace;
@property(nonatomic, readonly, nonnull) CGImageRef ref;
@end
