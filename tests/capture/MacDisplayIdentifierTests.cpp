#include "core/capture/MacDisplayIdentifier.h"

#include <gtest/gtest.h>

namespace velmora {
namespace {

TEST(MacDisplayIdentifier, IsThePrefixAndTheLoweredUUID) {
    EXPECT_EQ(MacDisplayIdentifier::identifier("37D8832A-2D66-02CA-B9F7-8F30A301B230"),
              "macos-display:37d8832a-2d66-02ca-b9f7-8f30a301b230");
}

TEST(MacDisplayIdentifier, LeavesALoweredUUIDAsItIs) {
    EXPECT_EQ(MacDisplayIdentifier::identifier("37d8832a-2d66-02ca-b9f7-8f30a301b230"),
              "macos-display:37d8832a-2d66-02ca-b9f7-8f30a301b230");
}

TEST(MacDisplayIdentifier, LowersNothingButTheLettersAToZ) {
    EXPECT_EQ(MacDisplayIdentifier::identifier("@AZ[`az{-09 \xC3\x84"),
              "macos-display:@az[`az{-09 \xC3\x84");
}

}  // namespace
}  // namespace velmora
