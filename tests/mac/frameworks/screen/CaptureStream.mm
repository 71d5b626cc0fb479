#include <ScreenCaptureKit/ScreenCaptureKit.h>

#include <memory>
#include <utility>

#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/dispatch/DispatchObjects.h"
#include "tests/mac/frameworks/foundation/FakeError.h"
#include "tests/mac/frameworks/screen/FakeStream.h"
#include "tests/mac/frameworks/screen/ScreenObjects.h"

using velmora::FakeStream;
using velmora::ScreenScript;

@implementation SCContentFilter {
  @public
    SCDisplay* _display;
    NSUInteger _excludedWindows;
}

- (instancetype)initWithDisplay:(SCDisplay*)display excludingWindows:(NSArray<SCWindow*>*)excluded {
    self = [super init];
    if (self != nil) {
        _display = display;
        _excludedWindows = excluded.count;
    }
    return self;
}

@end

@implementation SCStreamConfiguration
@end

namespace {

FakeStream::Settings settingsOf(SCContentFilter* filter, SCStreamConfiguration* configuration) {
    const CMTime interval = configuration.minimumFrameInterval;
    return {.display = filter->_display.displayID,
            .excludedWindows = filter->_excludedWindows,
            .width = configuration.width,
            .height = configuration.height,
            .intervalValue = interval.value,
            .intervalTimescale = interval.timescale,
            .queueDepth = configuration.queueDepth,
            .pixelFormat = configuration.pixelFormat,
            .showsCursor = configuration.showsCursor,
            .capturesAudio = configuration.capturesAudio};
}

FakeStream::Completion completionOf(void (^handler)(NSError*)) {
    return [handler](bool succeeded) {
        if (handler != nil) {
            handler(succeeded ? nil : [FakeError errorWithDescription:"refused"]);
        }
    };
}

}  // namespace

@implementation SCStream {
    std::shared_ptr<FakeStream> _fake;
}

// The system does not promise to keep delegates and outputs: here it never does.

- (instancetype)initWithFilter:(SCContentFilter*)contentFilter
                 configuration:(SCStreamConfiguration*)streamConfig
                      delegate:(id<SCStreamDelegate>)delegate {
    self = [super init];
    if (self != nil) {
        _fake = std::make_shared<FakeStream>();
        _fake->setSettings(settingsOf(contentFilter, streamConfig));
        ScreenScript::shared().made.push_back(_fake);
        __weak SCStream* const weakSelf = self;
        __weak const id<SCStreamDelegate> weakDelegate = delegate;
        _fake->setDelegate([weakSelf, weakDelegate] {
            [weakDelegate stream:weakSelf
                didStopWithError:[FakeError errorWithDescription:"stopped"]];
        });
    }
    return self;
}

- (void)dealloc {
    _fake->drop();
}

- (BOOL)addStreamOutput:(id<SCStreamOutput>)output
                   type:(SCStreamOutputType)type
     sampleHandlerQueue:(dispatch_queue_t)sampleHandlerQueue
                  error:(NSError**)error {
    if (ScreenScript::shared().refusesOutputs) {
        if (error != nil) {
            *error = [FakeError errorWithDescription:"refused"];
        }
        return NO;
    }
    __weak SCStream* const weakSelf = self;
    __weak const id<SCStreamOutput> weakOutput = output;
    _fake->addOutput(type, velmora::worldQueue(sampleHandlerQueue),
                     [weakSelf, weakOutput](const velmora::FakeSample& sample) {
                         FakeCMSampleBuffer* const buffer =
                             [[FakeCMSampleBuffer alloc] initWithSample:sample];
                         [weakOutput stream:weakSelf
                             didOutputSampleBuffer:buffer.ref
                                            ofType:static_cast<SCStreamOutputType>(sample.type)];
                     });
    return YES;
}

- (void)startCaptureWithCompletionHandler:(void (^)(NSError*))completionHandler {
    _fake->start(completionOf(completionHandler));
}

- (void)stopCaptureWithCompletionHandler:(void (^)(NSError*))completionHandler {
    _fake->stop(completionOf(completionHandler));
}

@end
