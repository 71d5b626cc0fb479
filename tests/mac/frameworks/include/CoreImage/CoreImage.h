#pragma once

// The part of CoreImage that the adapters use, declared by this project: they are checked against
// it where there is no macOS.

#include <CoreGraphics/CoreGraphics.h>
#include <CoreVideo/CoreVideo.h>
#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

typedef NSString* CIContextOption;
extern "C" CIContextOption const kCIContextCacheIntermediates;

@interface CIImage : NSObject
- (instancetype)initWithCVPixelBuffer:(CVPixelBufferRef)pixelBuffer;
- (CIImage*)imageByApplyingTransform:(CGAffineTransform)matrix;
@end

@interface CIContext : NSObject
- (instancetype)initWithOptions:(nullable NSDictionary<CIContextOption, id>*)options;
- (nullable CGImageRef)createCGImage:(CIImage*)image
                            fromRect:(CGRect)fromRect __attribute__((cf_returns_retained));
@end

#pragma clang assume_nonnull end
