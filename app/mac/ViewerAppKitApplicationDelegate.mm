#include "app/mac/ViewerAppKitApplicationDelegate.h"

#include <utility>

@implementation ViewerAppKitApplicationDelegate {
    std::shared_ptr<velmora::ViewerApplicationDelegate> _delegate;
}

- (instancetype)initWithDelegate:(std::shared_ptr<velmora::ViewerApplicationDelegate>)delegate {
    self = [super init];
    if (self != nil) {
        _delegate = std::move(delegate);
    }
    return self;
}

- (void)applicationDidFinishLaunching:(NSNotification*)notification {
    _delegate->applicationDidFinishLaunching();
}

- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
    const bool agrees =
        _delegate->applicationShouldTerminate() == velmora::ViewerTerminateReply::now;
    return agrees ? NSTerminateNow : NSTerminateCancel;
}

@end
