#include <Foundation/Foundation.h>

// Constants whose text is nobody's business. Some of them are declared as CoreFoundation's strings,
// which are the same objects.

// NOLINTBEGIN(readability-identifier-naming): the frameworks' names
extern "C" {
extern NSString* const kCGColorSpaceSRGB;
extern NSString* const kCGImageDestinationLossyCompressionQuality;
extern NSString* const kCIContextCacheIntermediates;
extern NSString* const SCStreamFrameInfoStatus;
extern NSString* const _nw_content_context_default_message;
}

NSString* const kCGColorSpaceSRGB = @"sRGB";
NSString* const kCGImageDestinationLossyCompressionQuality = @"quality";
NSString* const kCIContextCacheIntermediates = @"cache intermediates";
NSString* const SCStreamFrameInfoStatus = @"frame status";
/// Any object will do that is there without being made.
NSString* const _nw_content_context_default_message = @"default message";
// NOLINTEND(readability-identifier-naming)
