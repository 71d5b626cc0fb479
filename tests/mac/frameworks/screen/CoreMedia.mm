#include <CoreMedia/CoreMedia.h>
#include <ScreenCaptureKit/ScreenCaptureKit.h>

#include <string>

#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/imaging/ImagingObjects.h"
#include "tests/mac/frameworks/screen/ScreenObjects.h"

using velmora::FakeSample;

namespace velmora {

id foundationValueOf(const ScreenScript::Value& value) {
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) {
        return [NSNumber numberWithLongLong:*integer];
    }
    if (const auto* const number = std::get_if<double>(&value)) {
        return [NSNumber numberWithDouble:*number];
    }
    if (const auto* const text = std::get_if<std::string>(&value)) {
        return [[NSString alloc] initWithBytes:text->data()
                                        length:text->size()
                                      encoding:NSUTF8StringEncoding];
    }
    return nil;
}

}  // namespace velmora

@implementation FakeCMSampleBuffer {
  @public
    BOOL _isValid;
    NSArray* _attachments;
    FakeCVPixelBuffer* _pixels;
}

- (instancetype)initWithSample:(const FakeSample&)sample {
    self = [super init];
    if (self != nil) {
        _isValid = sample.isValid;
        _attachments = [FakeCMSampleBuffer attachmentsOf:sample];
        if (sample.picture) {
            _pixels = [[FakeCVPixelBuffer alloc] initWithRaster:*sample.picture];
        }
    }
    return self;
}

+ (NSArray*)attachmentsOf:(const FakeSample&)sample {
    const id status = velmora::foundationValueOf(sample.status);
    switch (sample.attachments) {
        case FakeSample::Attachments::none:
            return nil;
        case FakeSample::Attachments::empty:
            return @[];
        case FakeSample::Attachments::notDictionaries:
            return @[ @"status" ];
        case FakeSample::Attachments::dictionaries:
            return @[ status != nil ? @{SCStreamFrameInfoStatus : status} : @{} ];
    }
}

- (CMSampleBufferRef)ref {
    return (__bridge CMSampleBufferRef)self;
}

@end

namespace {

FakeCMSampleBuffer* sampleOf(CMSampleBufferRef buffer) {
    return (__bridge FakeCMSampleBuffer*)buffer;
}

}  // namespace

CMTime CMTimeMake(std::int64_t value, std::int32_t timescale) {
    constexpr std::uint32_t valid = 1;
    return {.value = value, .timescale = timescale, .flags = valid, .epoch = 0};
}

Boolean CMSampleBufferIsValid(CMSampleBufferRef buffer) {
    return sampleOf(buffer)->_isValid;
}

CFArrayRef CMSampleBufferGetSampleAttachmentsArray(CMSampleBufferRef buffer,
                                                   Boolean createIfNecessary) {
    FakeCMSampleBuffer* const sample = sampleOf(buffer);
    if (sample->_attachments == nil && createIfNecessary != 0) {
        sample->_attachments = @[ @{} ];
    }
    return (__bridge CFArrayRef)sample->_attachments;
}

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef buffer) {
    return (__bridge CVImageBufferRef)sampleOf(buffer)->_pixels;
}
