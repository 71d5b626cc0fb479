#include "tests/mac/ApplicationTest.h"

#include <AppKit/AppKit.h>

#include <csignal>

#include "tests/doubles/FrameworkCalls.h"

namespace velmora {

void ApplicationTest::SetUp() {
    // Made once, and kept for ever.
    @autoreleasepool {
        (void)NSApplication.sharedApplication;
        (void)NSWorkspace.sharedWorkspace;
    }
    MacTest::SetUp();
    script_ = ApplicationScript();
    screen_ = ScreenScript();
    (void)FrameworkCalls::take();  // whatever was left
    shell_ = makeApplicationShell();
}

void ApplicationTest::TearDown() {
    shell_ = nullptr;
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
        (void)std::signal(signal, SIG_DFL);  // fails for no signal that there is
    }
    MacTest::TearDown();
}

}  // namespace velmora
