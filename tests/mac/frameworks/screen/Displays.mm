#include <AppKit/AppKit.h>
#include <ColorSync/ColorSync.h>
#include <CoreGraphics/CoreGraphics.h>

#include <algorithm>
#include <string>
#include <utility>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/screen/ScreenObjects.h"

// The permission, the displays' identities, and the screens of the desktop.

using velmora::ScreenScript;

namespace {

const ScreenScript::Display* displayOf(CGDirectDisplayID number) {
    const auto& displays = ScreenScript::shared().displays;
    const auto found = std::ranges::find(displays, number, &ScreenScript::Display::number);
    return found == displays.end() ? nullptr : &*found;
}

}  // namespace

bool CGPreflightScreenCaptureAccess() {
    return ScreenScript::shared().isGranted;
}

bool CGRequestScreenCaptureAccess() {
    ScreenScript& script = ScreenScript::shared();
    velmora::FrameworkCalls::note("CGRequestScreenCaptureAccess");
    script.isGranted = script.isGranted || script.grantsOnRequest;
    return script.isGranted;
}

boolean_t CGDisplayIsMain(CGDirectDisplayID number) {
    const auto* const display = displayOf(number);
    return display != nullptr && display->isMain ? 1 : 0;
}

@interface FakeCFUUID : NSObject
@end

@implementation FakeCFUUID {
  @public
    std::string _text;
    BOOL _hasText;
}
@end

/// A text that is counted among the live objects.
@interface FakeCFString : NSString
@end

@implementation FakeCFString {
  @public
    std::string _text;
}
- (NSUInteger)length {
    return _text.size();
}
- (unsigned short)characterAtIndex:(NSUInteger)index {
    return static_cast<unsigned char>(_text.at(index));
}
- (const char*)UTF8String {
    return _text.c_str();
}
@end

CFUUIDRef CGDisplayCreateUUIDFromDisplayID(std::uint32_t displayID) {
    const auto* const display = displayOf(displayID);
    if (display == nullptr || !display->uuid) {
        return nullptr;
    }
    FakeCFUUID* const uuid = [[FakeCFUUID alloc] init];
    uuid->_text = *display->uuid;
    uuid->_hasText = display->hasUUIDText;
    return (__bridge_retained CFUUIDRef)uuid;
}

CFStringRef CFUUIDCreateString(CFAllocatorRef /*allocator*/, CFUUIDRef uuid) {
    FakeCFUUID* const source = (__bridge FakeCFUUID*)uuid;
    if (!source->_hasText) {
        return nullptr;
    }
    FakeCFString* const text = [[FakeCFString alloc] init];
    text->_text = source->_text;
    return (__bridge_retained CFStringRef)text;
}

@interface NSScreen ()
@property(readwrite) NSDictionary<NSDeviceDescriptionKey, id>* deviceDescription;
@property(readwrite) NSString* localizedName;
@end

@implementation NSScreen

+ (NSArray<NSScreen*>*)screens {
    NSMutableArray* const screens = [[NSMutableArray alloc] init];
    for (const ScreenScript::Screen& scripted : ScreenScript::shared().screens) {
        NSScreen* const screen = [[NSScreen alloc] init];
        const id number = velmora::foundationValueOf(scripted.number);
        screen.deviceDescription = number != nil ? @{@"NSScreenNumber" : number} : @{};
        if (scripted.name) {
            screen.localizedName = velmora::foundationValueOf(*scripted.name);
        }
        [screens addObject:screen];
    }
    return screens;
}

@end
