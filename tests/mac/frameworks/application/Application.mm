#include <AppKit/AppKit.h>

#include <cstddef>
#include <vector>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"

using velmora::ApplicationScript;
using velmora::FrameworkCalls::note;

@implementation NSEvent

+ (NSEvent*)otherEventWithType:(NSEventType)type
                      location:(NSPoint)location
                 modifierFlags:(NSEventModifierFlags)flags
                     timestamp:(NSTimeInterval)time
                  windowNumber:(NSInteger)windowNumber
                       context:(NSGraphicsContext*)context
                       subtype:(short)subtype
                         data1:(NSInteger)data1
                         data2:(NSInteger)data2 {
    return [[NSEvent alloc] init];
}

@end

@implementation NSApplication

+ (NSApplication*)sharedApplication {
    static NSApplication* const application = [[NSApplication alloc] init];
    return application;
}

- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy {
    note("setActivationPolicy", static_cast<long>(activationPolicy));
    return YES;
}

- (void)activateIgnoringOtherApps:(BOOL)flag {
    note("activateIgnoringOtherApps", flag);
}

- (void)run {
    note("run");
    ApplicationScript& script = ApplicationScript::shared();
    script.performed.push_front([self] {
        [self.delegate applicationDidFinishLaunching:[NSNotification notificationWithName:@"launch"
                                                                                   object:self]];
    });
    script.runApplication();
}

/// AppKit ends the process where this ends the run loop. While an alert is modal it asks nobody.
- (void)terminate:(id)sender {
    if (ApplicationScript::shared().isModal) {
        note("terminate refused");
        return;
    }
    const NSApplicationTerminateReply reply = [self.delegate applicationShouldTerminate:self];
    note("terminate", reply == NSTerminateNow ? "now" : "cancelled");
    if (reply == NSTerminateNow) {
        ApplicationScript::shared().isTerminated = true;
    }
}

- (void)stopModalWithCode:(NSModalResponse)code {
    ApplicationScript::shared().stopModal(code);
}

- (void)postEvent:(NSEvent*)event atStart:(BOOL)atStart {
    ApplicationScript::shared().hasEvent = true;
}

@end

void ApplicationScript::quit() {
    [NSApplication.sharedApplication terminate:nil];
}

@implementation NSWorkspace

+ (NSWorkspace*)sharedWorkspace {
    static NSWorkspace* const workspace = [[NSWorkspace alloc] init];
    return workspace;
}

- (BOOL)openURL:(NSURL*)url {
    note("openURL", url.absoluteString.UTF8String);
    return YES;
}

@end

@implementation NSButton
@end

@implementation NSAlert {
    ApplicationScript::Alert _shown;
    std::vector<NSButton*> _buttons;
}

- (NSButton*)addButtonWithTitle:(NSString*)title {
    _shown.buttons.emplace_back(title.UTF8String);
    NSButton* const button = [[NSButton alloc] init];
    // AppKit gives the key to this title alone.
    button.keyEquivalent = [title isEqual:@"Cancel"] ? @"\033" : @"";
    _buttons.push_back(button);
    return button;
}

- (NSModalResponse)runModal {
    _shown.style = self.alertStyle;
    _shown.message = self.messageText.UTF8String;
    _shown.informativeText = self.informativeText.UTF8String;
    for (std::size_t i = 0; i < _buttons.size(); ++i) {
        if ([_buttons[i].keyEquivalent isEqual:@"\033"]) {
            _shown.escapes = _shown.buttons[i];
        }
    }
    return ApplicationScript::shared().runModal(_shown);
}

@end
