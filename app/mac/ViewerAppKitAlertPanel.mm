#include "app/mac/ViewerAppKitAlertPanel.h"

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <cstddef>
#include <string>
#include <utility>

#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

namespace {

NSAlertStyle styleOf(ViewerAlertStyle style) {
    switch (style) {
        case ViewerAlertStyle::warning:
            return NSAlertStyleWarning;
        case ViewerAlertStyle::informational:
            return NSAlertStyleInformational;
        case ViewerAlertStyle::critical:
            return NSAlertStyleCritical;
    }
}

/// The button that declines. AppKit itself gives the Escape key to the title "Cancel" alone.
constexpr std::size_t refusal = 1;
NSString* const escapeKey = @"\033";

NSString* shownText(const std::string& text) {
    NSString* const shown = ViewerFoundationText::stringOf(text);
    return shown != nil ? shown : @"";
}

NSAlert* panelOf(const ViewerAlert& alert) {
    NSAlert* const panel = [[NSAlert alloc] init];
    panel.alertStyle = styleOf(alert.style);
    panel.messageText = shownText(alert.title);
    panel.informativeText = shownText(alert.informativeText);
    for (std::size_t i = 0; i < alert.buttons.size(); ++i) {
        NSButton* const button = [panel addButtonWithTitle:shownText(alert.buttons[i])];
        if (i == refusal) {
            button.keyEquivalent = escapeKey;
        }
    }
    return panel;
}

/// A modal loop looks whether it was stopped only when an event has come.
void wakeModalLoop() {
    NSEvent* const event = [NSEvent otherEventWithType:NSEventTypeApplicationDefined
                                              location:CGPoint()
                                         modifierFlags:NSEventModifierFlags()
                                             timestamp:0
                                          windowNumber:0
                                               context:nil
                                               subtype:0
                                                 data1:0
                                                 data2:0];
    if (event != nil) {
        [NSApplication.sharedApplication postEvent:event atStart:YES];
    }
}

}  // namespace

void ViewerAppKitAlertPanel::show(ViewerAlert alert, Completion completion) {
    isClosed_ = false;
    const std::shared_ptr<ViewerAppKitAlertPanel> self = shared_from_this();
    [NSRunLoop.mainRunLoop performBlock:^{
      completion(self->run(alert));
      if (std::exchange(self->isTerminationDue_, false)) {
          self->terminateApplication();
      }
    }];
}

void ViewerAppKitAlertPanel::close() {
    isClosed_ = true;
    if (isModal_) {
        [NSApplication.sharedApplication stopModalWithCode:NSModalResponseStop];
        wakeModalLoop();
    }
}

void ViewerAppKitAlertPanel::terminateApplication() {
    if (isModal_) {
        isTerminationDue_ = true;
    } else {
        [NSApplication.sharedApplication terminate:nil];
    }
}

bool ViewerAppKitAlertPanel::run(const ViewerAlert& alert) {
    if (isClosed_) {
        return false;
    }
    isModal_ = true;
    const NSModalResponse response = [panelOf(alert) runModal];
    isModal_ = false;
    return response == NSAlertFirstButtonReturn;
}

}  // namespace velmora
