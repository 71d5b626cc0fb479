#pragma once

// The part of ScreenCaptureKit that the adapters use, declared by this project: they are checked
// against it where there is no macOS.

#include <CoreGraphics/CoreGraphics.h>
#include <CoreMedia/CoreMedia.h>
#include <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <cstddef>
#include <cstdint>

#pragma clang assume_nonnull begin

enum SCStreamOutputType : NSInteger {
    SCStreamOutputTypeScreen = 0,
    SCStreamOutputTypeAudio = 1,
};

typedef NSString* SCStreamFrameInfo;
extern "C" SCStreamFrameInfo const SCStreamFrameInfoStatus;

@interface SCDisplay : NSObject
@property(readonly) CGDirectDisplayID displayID;
@property(readonly) NSInteger width;
@property(readonly) NSInteger height;
@end

@interface SCWindow : NSObject
@end

@interface SCShareableContent : NSObject
+ (void)getShareableContentExcludingDesktopWindows:(BOOL)excludeDesktopWindows
                               onScreenWindowsOnly:(BOOL)onScreenWindowsOnly
                                 completionHandler:
                                     (void (^)(SCShareableContent* _Nullable content,
                                               NSError* _Nullable error))completionHandler;
@property(readonly) NSArray<SCDisplay*>* displays;
@end

@interface SCContentFilter : NSObject
- (instancetype)initWithDisplay:(SCDisplay*)display excludingWindows:(NSArray<SCWindow*>*)excluded;
@end

@interface SCStreamConfiguration : NSObject
@property std::size_t width;
@property std::size_t height;
@property CMTime minimumFrameInterval;
@property NSInteger queueDepth;
@property std::uint32_t pixelFormat;
@property BOOL showsCursor;
@property BOOL capturesAudio;
@end

@class SCStream;

@protocol SCStreamOutput <NSObject>
@optional
- (void)stream:(SCStream*)stream
    didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
                   ofType:(SCStreamOutputType)type;
@end

@protocol SCStreamDelegate <NSObject>
@optional
- (void)stream:(SCStream*)stream didStopWithError:(NSError*)error;
@end

@interface SCStream : NSObject
- (instancetype)initWithFilter:(SCContentFilter*)contentFilter
                 configuration:(SCStreamConfiguration*)streamConfig
                      delegate:(nullable id<SCStreamDelegate>)delegate;
- (BOOL)addStreamOutput:(id<SCStreamOutput>)output
                   type:(SCStreamOutputType)type
     sampleHandlerQueue:(nullable dispatch_queue_t)sampleHandlerQueue
                  error:(NSError* _Nullable* _Nullable)error;
- (void)startCaptureWithCompletionHandler:
    (nullable void (^)(NSError* _Nullable error))completionHandler;
- (void)stopCaptureWithCompletionHandler:
    (nullable void (^)(NSError* _Nullable error))completionHandler;
@end

#pragma clang assume_nonnull end
