#pragma once

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <memory>

#include "app/ViewerApplicationShell.h"

/// Hands AppKit's questions on to the application's own delegate. Main thread only.
@interface ViewerAppKitApplicationDelegate : NSObject <NSApplicationDelegate>

- (instancetype)init NS_UNAVAILABLE;
- (instancetype)initWithDelegate:(std::shared_ptr<velmora::ViewerApplicationDelegate>)delegate;

@end
