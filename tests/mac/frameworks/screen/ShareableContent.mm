#include <ScreenCaptureKit/ScreenCaptureKit.h>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/MoreFoundation.h"
#include "tests/mac/frameworks/foundation/FakeError.h"
#include "tests/mac/frameworks/screen/ScreenScript.h"

using velmora::ScreenScript;

@interface SCDisplay ()
@property(readwrite) CGDirectDisplayID displayID;
@property(readwrite) NSInteger width;
@property(readwrite) NSInteger height;
@end

@implementation SCDisplay
@end

@implementation SCWindow
@end

@interface SCShareableContent ()
@property(readwrite) NSArray<SCDisplay*>* displays;
@end

@implementation SCShareableContent

+ (SCShareableContent*)scripted {
    NSMutableArray* const displays = [[NSMutableArray alloc] init];
    for (const ScreenScript::Display& scripted : ScreenScript::shared().displays) {
        SCDisplay* const display = [[SCDisplay alloc] init];
        display.displayID = scripted.number;
        display.width = scripted.width;
        display.height = scripted.height;
        [displays addObject:display];
    }
    SCShareableContent* const content = [[SCShareableContent alloc] init];
    content.displays = displays;
    return content;
}

+ (void)getShareableContentExcludingDesktopWindows:(BOOL)excludeDesktopWindows
                               onScreenWindowsOnly:(BOOL)onScreenWindowsOnly
                                 completionHandler:
                                     (void (^)(SCShareableContent*, NSError*))completionHandler {
    velmora::FrameworkCalls::note("getShareableContent", excludeDesktopWindows,
                                  onScreenWindowsOnly);
    const ScreenScript::Answer answer = ScreenScript::shared().listing;
    if (answer == ScreenScript::Answer::none) {
        return;
    }
    velmora::runAsSystem([completionHandler, answer] {
        if (ScreenScript::shared().givesNeither) {
            completionHandler(nil, nil);
        } else if (answer == ScreenScript::Answer::success) {
            completionHandler([SCShareableContent scripted], nil);
        } else {
            completionHandler(nil, [FakeError errorWithDescription:"declined"]);
        }
    });
}

@end
