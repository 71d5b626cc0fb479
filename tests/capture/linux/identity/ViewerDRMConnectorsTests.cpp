#include "core/capture/linux/identity/ViewerDRMConnectors.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/capture/KernelConnectors.h"

namespace velmora {
namespace {

using Bytes = std::vector<std::uint8_t>;

class ViewerDRMConnectorsTest : public testing::Test {
  protected:
    Bytes edidOf(std::string_view connector) const {
        return ViewerDRMConnectors::edidOf(kernel_.folder(), connector);
    }

    const Bytes edid_ = EDIDBlock().serialNumber(1).bytes();
    const KernelConnectors kernel_;
};

TEST_F(ViewerDRMConnectorsTest, AConnectedMonitorsEDIDIsRead) {
    kernel_.add("card1-DP-1", "connected", edid_);
    EXPECT_EQ(edidOf("DP-1"), edid_);
}

TEST_F(ViewerDRMConnectorsTest, AConnectorWithoutAMonitorHasNone) {
    kernel_.add("card1-DP-1", "disconnected", edid_);
    EXPECT_EQ(edidOf("DP-1"), Bytes());
}

TEST_F(ViewerDRMConnectorsTest, OfTwoCardsTheOneWithTheMonitorCounts) {
    kernel_.add("card0-DP-1", "disconnected", {});
    kernel_.add("card1-DP-1", "connected", edid_);
    EXPECT_EQ(edidOf("DP-1"), edid_);
}

TEST_F(ViewerDRMConnectorsTest, WhatTwoCardsHaveIsNotGuessed) {
    kernel_.add("card0-DP-1", "connected", EDIDBlock().serialNumber(2).bytes());
    kernel_.add("card1-DP-1", "connected", edid_);
    EXPECT_EQ(edidOf("DP-1"), Bytes());
}

TEST_F(ViewerDRMConnectorsTest, ANameIsComparedWhole) {
    kernel_.add("card0-eDP-1", "connected", edid_);
    kernel_.add("card0-DP-11", "connected", edid_);
    EXPECT_EQ(edidOf("DP-1"), Bytes());
}

TEST_F(ViewerDRMConnectorsTest, TheKernelsAndTheServersNamesOfHDMIAreOne) {
    kernel_.add("card0-HDMI-A-2", "connected", edid_);
    EXPECT_EQ(edidOf("HDMI-2"), edid_);
    EXPECT_EQ(edidOf("HDMI-A-2"), edid_);
    EXPECT_EQ(edidOf("HDMI-A-1"), Bytes());
}

TEST_F(ViewerDRMConnectorsTest, BlocksThatTheFirstOneDoesNotTellAreLeftOut) {
    Bytes longer = edid_;
    longer.resize(2 * longer.size(), 7);
    kernel_.add("card0-DP-1", "connected", longer);
    EXPECT_EQ(edidOf("DP-1"), edid_);
}

TEST_F(ViewerDRMConnectorsTest, AllTheBlocksThatTheFirstOneTellsAreRead) {
    for (const std::size_t following : {1U, 2U, 255U}) {
        SCOPED_TRACE(following);
        Bytes whole = edid_;
        whole[126] = static_cast<std::uint8_t>(following);
        whole.resize((1 + following) * edid_.size(), 7);
        kernel_.add("card0-DP-1", "connected", whole);
        EXPECT_EQ(edidOf("DP-1"), whole);
    }
}

TEST_F(ViewerDRMConnectorsTest, WhatIsNoConnectorIsLeftOut) {
    kernel_.add("DP", "connected", EDIDBlock().serialNumber(2).bytes());
    kernel_.add("card0-DP", "connected", edid_);
    EXPECT_EQ(edidOf("DP"), edid_);
}

TEST_F(ViewerDRMConnectorsTest, WhatIsShorterThanABlockIsReadAsItIs) {
    const Bytes shorter(edid_.begin(), edid_.begin() + 100);
    kernel_.add("card0-DP-1", "connected", shorter);
    EXPECT_EQ(edidOf("DP-1"), shorter);
}

TEST_F(ViewerDRMConnectorsTest, AKernelWithoutCardsHasNone) {
    EXPECT_EQ(ViewerDRMConnectors::edidOf(kernel_.folder() / "none", "DP-1"), Bytes());
}

}  // namespace
}  // namespace velmora
