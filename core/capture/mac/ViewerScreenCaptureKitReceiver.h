#pragma once

#import <Foundation/Foundation.h>
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <memory>

#include "core/capture/ViewerScreenCapture.h"

/// What ScreenCaptureKit calls: hands frames and the stop notice on, unjudged. Owned by its stream.
@interface ViewerScreenCaptureKitReceiver : NSObject <SCStreamOutput, SCStreamDelegate>

- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithReceiver:(std::shared_ptr<velmora::ViewerStreamReceiver>)receiver;

/// Whether the stream may be capturing. The stop notice takes it back. Any thread.
@property BOOL isCapturing;

@end
