#include "tests/capture/mac/ScreenTest.h"

#include "core/runtime/ViewerExecutor.h"

namespace velmora {

void ScreenTest::SetUp() {
    capture_ = makeScreenCapture(ViewerExecutor(), nullptr);
}

void ScreenTest::TearDown() {
    capture_ = nullptr;
    MacTest::TearDown();
}

ScreenTest::Listing ScreenTest::list() {
    const auto listing = std::make_shared<Listing>();
    capture_->shareableDisplays(
        [listing](std::shared_ptr<const ViewerScreenCapture::Displays> displays) {
            EXPECT_FALSE(listing->has_value());
            *listing = std::move(displays);
        });
    world_.settle();
    return *listing;
}

std::shared_ptr<FakeStream> ScreenTest::stream() const {
    const auto streams = script_.streams();
    EXPECT_EQ(streams.size(), 1U);
    return streams.front();
}

}  // namespace velmora
