#include "tests/acceptance/mac/MacHostTest.h"

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/mac/frameworks/network/FakeListener.h"
#include "tests/support/system/HostAnswers.h"

namespace velmora {

void MacHostTest::TearDown() {
    host_ = nullptr;
    MacTest::TearDown();
}

std::string MacHostTest::serve() {
    testing::internal::CaptureStdout();
    host_ = std::make_unique<MacHost>();
    host_->perform([] { FakeListener::last()->becomeReady(ViewerHostProtocolV1::defaultPort); });
    return testing::internal::GetCapturedStdout();
}

std::string MacHostTest::frameTarget() {
    const auto displays = displaysIn(get(ViewerHostProtocolV1::displaysPath));
    EXPECT_TRUE(displays && !displays->empty());
    return velmora::frameTarget(displays->at(0).id);
}

bool MacHostTest::shows(const HTTPAnswer& answer, std::uint32_t colour) {
    const auto picture = pictureIn(answer);
    return picture && picture->isAll(colour, jpegTolerance);
}

std::shared_ptr<FakeStream> MacHostTest::stream() {
    std::shared_ptr<FakeStream> found;
    for (const auto& stream : script().streams()) {
        if (!stream->isDropped()) {
            EXPECT_EQ(found, nullptr);
            found = stream;
        }
    }
    EXPECT_NE(found, nullptr);
    return found;
}

void MacHostTest::deliver(const FakeSample& sample) {
    host_->perform([&] { stream()->deliver(sample); });
}

}  // namespace velmora
