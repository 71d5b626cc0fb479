#include "core/capture/ViewerImaging.h"

#import <CoreGraphics/CoreGraphics.h>
#import <CoreImage/CoreImage.h>
#import <CoreVideo/CoreVideo.h>
#import <Foundation/Foundation.h>
#import <ImageIO/ImageIO.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include <cstddef>
#include <utility>

#include "core/capture/mac/ViewerOwnedRef.h"

// A captured picture is a CVPixelBuffer here, an image is a CGImage.

namespace velmora {

namespace {

constexpr std::size_t bitsPerComponent = 8;
/// Lets the system choose.
constexpr std::size_t anyBytesPerRow = 0;

std::optional<ViewerImage> imageOf(ViewerOwnedRef<CGImageRef> image) {
    if (!image) {
        return std::nullopt;
    }
    ViewerPixelBuffer picture;
    picture.width = static_cast<std::int64_t>(CGImageGetWidth(image.get()));
    picture.height = static_cast<std::int64_t>(CGImageGetHeight(image.get()));
    picture.native = image.get();
    return ViewerImage{picture, std::move(image)};
}

CGRect rectangleOf(std::int64_t width, std::int64_t height) {
    return CGRectMake(0, 0, static_cast<CGFloat>(width), static_cast<CGFloat>(height));
}

ViewerOwnedRef<CGContextRef> makeBitmap(CGImageRef image, std::int64_t width, std::int64_t height) {
    CGColorSpaceRef colorSpace = CGImageGetColorSpace(image);
    ViewerOwnedRef<CGColorSpaceRef> fallback;
    if (colorSpace == nullptr) {
        fallback.reset(CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
        colorSpace = fallback.get();
    }
    if (colorSpace == nullptr) {
        return nullptr;
    }
    return ViewerOwnedRef<CGContextRef>(CGBitmapContextCreate(
        nullptr, static_cast<std::size_t>(width), static_cast<std::size_t>(height),
        bitsPerComponent, anyBytesPerRow, colorSpace, kCGImageAlphaPremultipliedLast));
}

}  // namespace

std::optional<ViewerImage> ViewerImaging::scaled(const ViewerPixelBuffer& buffer,
                                                 std::int64_t width, std::int64_t height) {
    const auto pixels = static_cast<CVPixelBufferRef>(buffer.native);
    if (pixels == nullptr || buffer.width < 1 || buffer.height < 1) {
        return std::nullopt;
    }
    @autoreleasepool {
        CIImage* const captured = [[CIImage alloc] initWithCVPixelBuffer:pixels];
        CIImage* const reduced =
            [captured imageByApplyingTransform:CGAffineTransformMakeScale(
                                                   static_cast<CGFloat>(width) /
                                                       static_cast<CGFloat>(buffer.width),
                                                   static_cast<CGFloat>(height) /
                                                       static_cast<CGFloat>(buffer.height))];
        // A new one for each picture, so that nothing is kept between pictures.
        CIContext* const context = [[CIContext alloc] initWithOptions:@{
            kCIContextCacheIntermediates : @NO
        }];
        return imageOf(ViewerOwnedRef<CGImageRef>(
            [context createCGImage:reduced fromRect:rectangleOf(width, height)]));
    }
}

std::optional<ViewerImage> ViewerImaging::redrawn(const ViewerPixelBuffer& image,
                                                  std::int64_t width, std::int64_t height) {
    const auto original = static_cast<CGImageRef>(image.native);
    if (original == nullptr) {
        return std::nullopt;
    }
    const auto bitmap = makeBitmap(original, width, height);
    if (!bitmap) {
        return std::nullopt;
    }
    CGContextSetInterpolationQuality(bitmap.get(), kCGInterpolationHigh);
    CGContextDrawImage(bitmap.get(), rectangleOf(width, height), original);
    return imageOf(ViewerOwnedRef<CGImageRef>(CGBitmapContextCreateImage(bitmap.get())));
}

std::optional<std::vector<std::uint8_t>> ViewerImaging::jpeg(const ViewerPixelBuffer& image,
                                                             double quality) {
    const auto picture = static_cast<CGImageRef>(image.native);
    if (picture == nullptr) {
        return std::nullopt;
    }
    @autoreleasepool {
        constexpr std::size_t oneImage = 1;
        NSMutableData* const data = [[NSMutableData alloc] init];
        const ViewerOwnedRef<CGImageDestinationRef> destination(CGImageDestinationCreateWithData(
            (__bridge CFMutableDataRef)data, (__bridge CFStringRef)UTTypeJPEG.identifier, oneImage,
            nullptr));
        if (!destination) {
            return std::nullopt;
        }
        NSDictionary* const properties =
            @{(__bridge NSString*)kCGImageDestinationLossyCompressionQuality : @(quality)};
        CGImageDestinationAddImage(destination.get(), picture,
                                   (__bridge CFDictionaryRef)properties);
        if (!CGImageDestinationFinalize(destination.get())) {
            return std::nullopt;
        }
        const auto* const bytes = static_cast<const std::uint8_t*>(data.bytes);
        return std::vector<std::uint8_t>(bytes, bytes + data.length);
    }
}

}  // namespace velmora
