#pragma once

// The part of AppKit that the adapters use, declared by this project: they are checked against it
// where there is no macOS.

#include <CoreGraphics/CoreGraphics.h>
#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

enum NSApplicationActivationPolicy : NSInteger { NSApplicationActivationPolicyAccessory = 1 };

enum NSApplicationTerminateReply : NSUInteger {
    NSTerminateCancel = 0,
    NSTerminateNow = 1,
};

typedef NSInteger NSModalResponse;
constexpr NSModalResponse NSModalResponseStop = -1000;
constexpr NSModalResponse NSAlertFirstButtonReturn = 1000;

using NSPoint = CGPoint;
using NSTimeInterval = double;

enum NSEventType : NSUInteger { NSEventTypeApplicationDefined = 15 };
enum NSEventModifierFlags : NSUInteger {};

@class NSApplication;
@class NSGraphicsContext;

@interface NSEvent : NSObject
+ (nullable NSEvent*)otherEventWithType:(NSEventType)type
                               location:(NSPoint)location
                          modifierFlags:(NSEventModifierFlags)flags
                              timestamp:(NSTimeInterval)time
                           windowNumber:(NSInteger)windowNumber
                                context:(nullable NSGraphicsContext*)context
                                subtype:(short)subtype
                                  data1:(NSInteger)data1
                                  data2:(NSInteger)data2;
@end

@protocol NSApplicationDelegate <NSObject>
@optional
- (void)applicationDidFinishLaunching:(NSNotification*)notification;
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender;
@end

@interface NSApplication : NSObject
@property(class, readonly) NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy;
- (void)activateIgnoringOtherApps:(BOOL)flag;
- (void)run;
- (void)terminate:(nullable id)sender;
- (void)stopModalWithCode:(NSModalResponse)code;
- (void)postEvent:(NSEvent*)event atStart:(BOOL)atStart;
@end

enum NSAlertStyle : NSUInteger {
    NSAlertStyleWarning = 0,
    NSAlertStyleInformational = 1,
    NSAlertStyleCritical = 2,
};

@interface NSButton : NSObject
@property(copy) NSString* keyEquivalent;
@end

@interface NSAlert : NSObject
@property NSAlertStyle alertStyle;
@property(copy) NSString* messageText;
@property(copy) NSString* informativeText;
- (NSButton*)addButtonWithTitle:(NSString*)title;
- (NSModalResponse)runModal;
@end

@interface NSWorkspace : NSObject
@property(class, readonly) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
@end

typedef NSString* NSDeviceDescriptionKey;

@interface NSScreen : NSObject
@property(class, readonly) NSArray<NSScreen*>* screens;
@property(readonly) NSDictionary<NSDeviceDescriptionKey, id>* deviceDescription;
@property(readonly) NSString* localizedName;
@end

#pragma clang assume_nonnull end
