#include "tests/mac/MacTest.h"

#include <dispatch/dispatch.h>
#include <gmock/gmock.h>

#include <cstdint>

#include "tests/doubles/LiveObjects.h"

namespace velmora {

namespace {

constexpr std::uint64_t seed = 1;

}  // namespace

void MacTest::SetUp() {
    world_.seed(seed);
    world_.restart();
    pool_ = std::make_unique<bridge::AutoreleasePool>();
    (void)dispatch_get_main_queue();  // made once, and kept for ever
    before_ = LiveObjects::counts();
}

void MacTest::TearDown() {
    world_.settle();
    pool_ = nullptr;
    EXPECT_EQ(LiveObjects::counts(), before_);
}

}  // namespace velmora
