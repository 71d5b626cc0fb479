#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

#include "core/capture/linux/x11/ViewerX11ScreenCapture.h"
#include "tests/support/http/ServedLoop.h"
#include "tests/support/imaging/AllocationCount.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

struct Allocations final {
    friend bool operator<(const Allocations& a, const Allocations& b) {
        return a.ofNew + a.aligned < b.ofNew + b.aligned;
    }

    std::size_t ofNew = 0;
    /// As Asio takes the memory of coroutines.
    std::size_t aligned = 0;
};

class RequestAllocation : public testing::Test {
  protected:
    /// What one request takes once everything that is kept between requests is there: as many
    /// sockets linger as may, and a capture runs.
    Allocations allocationsOf(const std::string& path) {
        constexpr int warmUpRequests = 2000;
        for (int i = 0; i < warmUpRequests; ++i) {
            (void)allocationsOfOne(path);  // not yet those that count
        }
        // A timer may run within one of them.
        std::array<Allocations, 101> each;
        for (Allocations& one : each) {
            one = allocationsOfOne(path);
        }
        std::sort(each.begin(), each.end());
        return each[each.size() / 2];
    }

    std::string displayId() {
        const std::string listing = served_.answerOf(served_.ask("/viewer/v1/displays"));
        const std::size_t id = listing.find("macos-display:");
        return listing.substr(id, listing.find('"', id) - id);
    }

  private:
    Allocations allocationsOfOne(const std::string& path) {
        const int client = served_.ask(path);
        const AllocationCount count;
        served_.run();
        const Allocations allocations{count.sinceConstruction(), count.alignedSinceConstruction()};
        EXPECT_THAT(served_.answerOf(client), testing::StartsWith("HTTP/1.1 200 OK\r\n"));
        return allocations;
    }

    const XServer server_;
    ServedLoop served_{[this](ViewerExecutor loop, std::shared_ptr<ViewerContinuousClock> clock) {
        return std::make_shared<ViewerX11ScreenCapture>(loop, clock, server_.displayName());
    }};
};

TEST_F(RequestAllocation, AListingTakesNoMemoryOnceOthersWereAnswered) {
    const Allocations allocations = allocationsOf("/viewer/v1/displays");
    EXPECT_EQ(allocations.ofNew, 0U);
    EXPECT_EQ(allocations.aligned, 0U);
}

TEST_F(RequestAllocation, AFrameTakesNoMemoryOnceOthersWereAnswered) {
    std::string id = displayId();
    id.replace(id.find(':'), 1, "%3A");
    const Allocations allocations = allocationsOf("/viewer/v1/frame?id=" + id);
    EXPECT_EQ(allocations.ofNew, 0U);
    EXPECT_EQ(allocations.aligned, 0U);
}

}  // namespace
}  // namespace velmora
