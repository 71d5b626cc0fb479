#include "core/capture/mac/ViewerScreenCaptureKitReceiver.h"

#import <CoreMedia/CoreMedia.h>
#import <CoreVideo/CoreVideo.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace {

using velmora::ViewerPixelBuffer;
using velmora::ViewerStreamOutput;
using velmora::ViewerStreamOutputType;

ViewerStreamOutputType typeOf(SCStreamOutputType type) {
    switch (type) {
        case SCStreamOutputTypeScreen:
            return ViewerStreamOutputType::screen;
        case SCStreamOutputTypeAudio:
            return ViewerStreamOutputType::audio;
        default:
            return ViewerStreamOutputType::other;
    }
}

/// Nothing when the value is missing, no number, or no whole one.
std::optional<std::int64_t> integerOf(id _Nullable value) {
    if (![value isKindOfClass:[NSNumber class]]) {
        return std::nullopt;
    }
    const long long integer = [static_cast<NSNumber*>(value) longLongValue];
    return [value isEqual:@(integer)] ? std::optional<std::int64_t>(integer) : std::nullopt;
}

/// The first of the attachments, where it is a list of dictionaries.
NSDictionary* _Nullable attachmentOf(CMSampleBufferRef sampleBuffer) {
    NSArray* const attachments =
        (__bridge NSArray*)CMSampleBufferGetSampleAttachmentsArray(sampleBuffer, false);
    const id first = attachments.firstObject;
    return [first isKindOfClass:[NSDictionary class]] ? first : nil;
}

ViewerPixelBuffer pictureOf(CVPixelBufferRef pixels) {
    ViewerPixelBuffer picture;
    picture.width = static_cast<std::int64_t>(CVPixelBufferGetWidth(pixels));
    picture.height = static_cast<std::int64_t>(CVPixelBufferGetHeight(pixels));
    picture.native = pixels;
    return picture;
}

}  // namespace

@implementation ViewerScreenCaptureKitReceiver {
    std::shared_ptr<velmora::ViewerStreamReceiver> _receiver;
}

- (instancetype)initWithReceiver:(std::shared_ptr<velmora::ViewerStreamReceiver>)receiver {
    self = [super init];
    if (self != nil) {
        _receiver = std::move(receiver);
    }
    return self;
}

- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
                   ofType:(SCStreamOutputType)type {
    // Around the encoding too: the queue empties its own pool late, and pictures would pile up.
    @autoreleasepool {
        ViewerStreamOutput output;
        output.type = typeOf(type);
        output.isValid = CMSampleBufferIsValid(sampleBuffer);
        NSDictionary* const attachment = attachmentOf(sampleBuffer);
        output.hasAttachments = attachment != nil;
        output.status = integerOf(attachment[SCStreamFrameInfoStatus]);
        const CVImageBufferRef _Nullable pixels = CMSampleBufferGetImageBuffer(sampleBuffer);
        const ViewerPixelBuffer picture =
            pixels != nullptr ? pictureOf(pixels) : ViewerPixelBuffer();
        output.pixels = pixels != nullptr ? &picture : nullptr;
        _receiver->streamDidOutput(output);
    }
}

- (void)stream:(SCStream*)stream didStopWithError:(NSError*)error {
    self.isCapturing = NO;
    _receiver->streamDidStop();
}

@end
