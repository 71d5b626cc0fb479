#include "core/capture/mac/ViewerScreenCaptureKitCapture.h"

#import <AppKit/AppKit.h>
#import <ColorSync/ColorSync.h>
#import <CoreGraphics/CoreGraphics.h>
#import <Foundation/Foundation.h>
#import <ScreenCaptureKit/ScreenCaptureKit.h>

#include <cstdint>
#include <optional>

#include "core/capture/mac/ViewerOwnedRef.h"
#include "core/capture/mac/ViewerScreenCaptureKitStream.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

namespace {

std::optional<std::string> uuidTextOf(CGDirectDisplayID number) {
    const ViewerOwnedRef<CFUUIDRef> uuid(CGDisplayCreateUUIDFromDisplayID(number));
    if (!uuid) {
        return std::nullopt;
    }
    return ViewerFoundationText::textOf(
        (__bridge_transfer NSString*)CFUUIDCreateString(kCFAllocatorDefault, uuid.get()));
}

ViewerNativeDisplay nativeDisplayOf(SCDisplay* display) {
    ViewerNativeDisplay native;
    native.number = display.displayID;
    native.uuidText = uuidTextOf(display.displayID);
    native.width = display.width;
    native.height = display.height;
    native.isMain = CGDisplayIsMain(display.displayID) != 0;
    native.native = ViewerOwnedRef<CFTypeRef>((__bridge_retained CFTypeRef)display);
    return native;
}

std::optional<std::uint32_t> numberOf(NSScreen* screen) {
    const id number = screen.deviceDescription[@"NSScreenNumber"];
    if (![number isKindOfClass:[NSNumber class]]) {
        return std::nullopt;
    }
    return [static_cast<NSNumber*>(number) unsignedIntValue];
}

}  // namespace

bool ViewerScreenCaptureKitCapture::preflightAccess() {
    return CGPreflightScreenCaptureAccess();
}

void ViewerScreenCaptureKitCapture::lookAtAccess(AccessCompletion completion) {
    completion(preflightAccess() ? ViewerCaptureAccess::granted : ViewerCaptureAccess::requestable);
}

void ViewerScreenCaptureKitCapture::requestAccess(RequestCompletion completion) {
    completion(CGRequestScreenCaptureAccess());
}

void ViewerScreenCaptureKitCapture::shareableDisplays(DisplaysCompletion completion) {
    const auto handler = ^(SCShareableContent* _Nullable content, NSError* _Nullable error) {
      if (error != nil) {
          completion(nullptr);
          return;
      }
      viewerCheck(content != nil, "the system gives either displays or an error");
      const auto displays = std::make_shared<Displays>();
      for (SCDisplay* display in content.displays) {
          displays->push_back(nativeDisplayOf(display));
      }
      completion(displays);
    };
    [SCShareableContent getShareableContentExcludingDesktopWindows:NO
                                               onScreenWindowsOnly:NO
                                                 completionHandler:handler];
}

std::vector<ViewerNativeScreen> ViewerScreenCaptureKitCapture::screens() {
    std::vector<ViewerNativeScreen> screens;
    for (NSScreen* screen in NSScreen.screens) {
        const auto name = ViewerFoundationText::textOf(screen.localizedName);
        screens.push_back({numberOf(screen), name.value_or("")});
    }
    return screens;
}

std::shared_ptr<ViewerDisplayStream> ViewerScreenCaptureKitCapture::makeStream(
    const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) {
    return std::make_shared<ViewerScreenCaptureKitStream>((__bridge SCDisplay*)display.native.get(),
                                                          settings);
}

std::shared_ptr<ViewerScreenCapture> makeScreenCapture(ViewerExecutor,
                                                       std::shared_ptr<ViewerContinuousClock>) {
    return std::make_shared<ViewerScreenCaptureKitCapture>();
}

}  // namespace velmora
