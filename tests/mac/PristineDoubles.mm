#include "tests/mac/PristineDoubles.h"

#include <AppKit/AppKit.h>
#include <dispatch/dispatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/mac/frameworks/FrameworkCalls.h"
#include "tests/mac/frameworks/LiveObjects.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"
#include "tests/mac/frameworks/dispatch/DispatchWorld.h"
#include "tests/mac/frameworks/imaging/ImagingScript.h"
#include "tests/mac/frameworks/network/FakeListener.h"
#include "tests/mac/frameworks/screen/ScreenScript.h"

namespace velmora {

PristineDoubles::PristineDoubles() {
    constexpr std::uint64_t seed = 1;
    DispatchWorld::shared().seed(seed);
    DispatchWorld::shared().restart();
    ApplicationScript::shared() = ApplicationScript();
    ImagingScript::shared() = ImagingScript();
    ScreenScript::shared() = ScreenScript();
    FakeListener::setRefused(false);
    (void)FrameworkCalls::take();  // whatever was left
    pool_ = std::make_unique<bridge::AutoreleasePool>();
    // Made once, and kept for ever.
    (void)dispatch_get_main_queue();
    (void)NSApplication.sharedApplication;
    (void)NSWorkspace.sharedWorkspace;
    before_ = LiveObjects::counts();
}

PristineDoubles::~PristineDoubles() {
    DispatchWorld::shared().settle();
    pool_ = nullptr;
    EXPECT_EQ(LiveObjects::counts(), before_);
    EXPECT_EQ(ScreenScript::shared().abandonedStreams, 0);
}

}  // namespace velmora
