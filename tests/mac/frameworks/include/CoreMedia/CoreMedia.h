#pragma once

// The part of CoreMedia that the adapters use, declared by this project: they are checked against
// it where there is no macOS.

#include <CoreFoundation/CoreFoundation.h>
#include <CoreVideo/CoreVideo.h>

#include <cstdint>

#pragma clang assume_nonnull begin

extern "C" {

typedef struct __attribute__((objc_bridge(id))) opaqueCMSampleBuffer* CMSampleBufferRef;

struct CMTime {
    std::int64_t value;
    std::int32_t timescale;
    std::uint32_t flags;
    std::int64_t epoch;
};

CMTime CMTimeMake(std::int64_t value, std::int32_t timescale);

Boolean CMSampleBufferIsValid(CMSampleBufferRef buffer);
CFArrayRef _Nullable CMSampleBufferGetSampleAttachmentsArray(CMSampleBufferRef buffer,
                                                             Boolean createIfNecessary);
CVImageBufferRef _Nullable CMSampleBufferGetImageBuffer(CMSampleBufferRef buffer);

}  // extern "C"

#pragma clang assume_nonnull end
