#include "app/mac/ViewerAppKitAlertPresenter.h"

#import <AppKit/AppKit.h>
#import <Foundation/Foundation.h>

#include <utility>

#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

ViewerAppKitAlertPresenter::ViewerAppKitAlertPresenter(
    std::shared_ptr<ViewerAppKitAlertPanel> panel)
    : panel_(std::move(panel)) {}

void ViewerAppKitAlertPresenter::show(ViewerAlert alert, Completion completion) {
    panel_->show(std::move(alert), std::move(completion));
}

void ViewerAppKitAlertPresenter::close() {
    panel_->close();
}

void ViewerAppKitAlertPresenter::bringToFront() {
    [NSApplication.sharedApplication activateIgnoringOtherApps:YES];
}

void ViewerAppKitAlertPresenter::openPage(std::string_view url) {
    NSString* const text = ViewerFoundationText::stringOf(url);
    NSURL* const page = text != nil ? [NSURL URLWithString:text] : nil;
    if (page != nil) {
        (void)[NSWorkspace.sharedWorkspace openURL:page];  // the user sees whether it opened
    }
}

ViewerAlertWording ViewerAppKitAlertPresenter::wording() {
    return ViewerAlertWording::mac;
}

std::optional<std::string> ViewerAppKitAlertPresenter::languageCode() {
    const id code = [NSLocale.currentLocale objectForKey:NSLocaleLanguageCode];
    return [code isKindOfClass:[NSString class]] ? ViewerFoundationText::textOf(code)
                                                 : std::nullopt;
}

}  // namespace velmora
