#include "core/capture/mac/ViewerScreenCaptureKitStream.h"

#import <CoreMedia/CoreMedia.h>
#import <Foundation/Foundation.h>

#include <cstddef>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"

namespace velmora {

namespace {

SCStreamConfiguration* configurationOf(const ViewerStreamSettings& settings) {
    SCStreamConfiguration* const configuration = [[SCStreamConfiguration alloc] init];
    configuration.width = static_cast<std::size_t>(settings.width);
    configuration.height = static_cast<std::size_t>(settings.height);
    configuration.minimumFrameInterval =
        CMTimeMake(settings.frameIntervalValue, settings.frameIntervalTimescale);
    configuration.queueDepth = static_cast<NSInteger>(settings.queueDepth);
    configuration.pixelFormat = settings.pixelFormat;
    configuration.showsCursor = settings.showsCursor;
    configuration.capturesAudio = settings.capturesAudio;
    return configuration;
}

}  // namespace

ViewerScreenCaptureKitStream::ViewerScreenCaptureKitStream(SCDisplay* display,
                                                           const ViewerStreamSettings& settings)
    : filter_([[SCContentFilter alloc] initWithDisplay:display excludingWindows:@[]]),
      configuration_(configurationOf(settings)) {}

ViewerScreenCaptureKitStream::~ViewerScreenCaptureKitStream() {
    if (receiver_.isCapturing) {
        [stream_ stopCaptureWithCompletionHandler:nil];
    }
}

bool ViewerScreenCaptureKitStream::addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                                             std::string queueLabel) {
    receiver_ = [[ViewerScreenCaptureKitReceiver alloc] initWithReceiver:std::move(receiver)];
    stream_ = [[SCStream alloc] initWithFilter:filter_
                                 configuration:configuration_
                                      delegate:receiver_];
    return [stream_ addStreamOutput:receiver_
                               type:SCStreamOutputTypeScreen
                 sampleHandlerQueue:makeSerialQueue(queueLabel)
                              error:nil];
}

void ViewerScreenCaptureKitStream::start(Completion completion) {
    viewerCheck(stream_ != nil, "a stream has its receiver before it starts");
    ViewerScreenCaptureKitReceiver* const receiver = receiver_;
    receiver.isCapturing = YES;
    [stream_ startCaptureWithCompletionHandler:^(NSError* _Nullable error) {
      if (error != nil) {
          receiver.isCapturing = NO;
      }
      completion(error == nil);
    }];
}

void ViewerScreenCaptureKitStream::stop(Completion completion) {
    viewerCheck(stream_ != nil, "a stream has its receiver before it stops");
    receiver_.isCapturing = NO;
    [stream_ stopCaptureWithCompletionHandler:^(NSError* _Nullable error) {
      completion(error == nil);
    }];
}

}  // namespace velmora
