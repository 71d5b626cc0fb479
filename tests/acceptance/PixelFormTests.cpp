#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

XServer::Options ofDepth(int depth) {
    XServer::Options options;
    options.depth = depth;
    return options;
}

class PixelForm : public HostTest, public testing::WithParamInterface<int> {
  protected:
    PixelForm() : HostTest(ofDepth(GetParam())) {}
};

TEST_P(PixelForm, FramesShowThePaintedColours) {
    serve();
    const std::string id = idOf("screen");
    // Colours that also 5 and 6 bits can say.
    for (const std::uint32_t colour : {0xde1821U, 0x18db21U, 0x2118deU, 0x848284U}) {
        painter_.fill({0, 0, 1280, 720}, colour);
        EXPECT_TRUE(eventually([&] {
            const auto picture = frameOf(id);
            return picture && picture->isAll(colour, jpegTolerance);
        })) << std::hex
            << colour;
    }
}

INSTANTIATE_TEST_SUITE_P(AtDepth, PixelForm, testing::Values(16, 24, 30));

}  // namespace

}  // namespace velmora
