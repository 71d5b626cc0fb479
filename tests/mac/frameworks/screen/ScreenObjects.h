#pragma once

#include <Foundation/Foundation.h>
#include <ScreenCaptureKit/ScreenCaptureKit.h>

#include "tests/mac/frameworks/screen/FakeStream.h"

namespace velmora {

/// A value as Foundation has it; nil for none.
id _Nullable foundationValueOf(const ScreenScript::Value& value);

}  // namespace velmora

/// A delivery as the program sees it.
@interface FakeCMSampleBuffer : NSObject
- (nonnull instancetype)initWithSample:(const velmora::FakeSample&)sample;
@property(nonatomic, readonly, nonnull) CMSampleBufferRef ref;
@end
