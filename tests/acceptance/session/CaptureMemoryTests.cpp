#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <string>

#include "tests/support/host/HostTest.h"

namespace velmora {
namespace {

class CaptureMemory : public HostTest {
  protected:
    /// One frame, and the end of its capture.
    void captureOnce() {
        EXPECT_TRUE(frameOf(idOf("screen")).has_value());
        EXPECT_TRUE(eventually([this] { return host_->threadsNamed("capture.") == 0; }));
    }

    /// What the host holds of memory that is its own, in KiB.
    std::size_t ownMemory() const {
        std::ifstream status("/proc/" + std::to_string(host_->id()) + "/status");
        std::string name;
        std::size_t size = 0;
        while (name != "RssAnon:" && status >> name) {
        }
        status >> size;
        return size;
    }
};

TEST_F(CaptureMemory, GoesBackToTheSystemWithEachCapture) {
    constexpr std::size_t halfAPicture = 450;
    serve();
    captureOnce();
    const std::size_t before = ownMemory();
    ASSERT_GT(before, 0U);
    captureOnce();
    captureOnce();
    EXPECT_LT(ownMemory(), before + halfAPicture);
}

}  // namespace
}  // namespace velmora
