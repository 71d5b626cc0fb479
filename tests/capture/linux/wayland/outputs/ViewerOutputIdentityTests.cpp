#include "core/capture/linux/wayland/outputs/ViewerOutputIdentity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/capture/KernelConnectors.h"

namespace velmora {
namespace {

ViewerWaylandOutput output(const std::string& connector, const std::string& make = "Maker",
                           const std::string& model = "Model") {
    ViewerWaylandOutput result;
    result.connector = connector;
    result.make = make;
    result.model = model;
    return result;
}

class ViewerOutputIdentityTest : public testing::Test {
  protected:
    std::vector<ViewerMonitorIdentity> identities(
        const std::vector<ViewerWaylandOutput>& outputs) const {
        return ViewerOutputIdentity::of(outputs, kernel_.folder());
    }
    ViewerMonitorIdentity identity(const ViewerWaylandOutput& only) const {
        return identities({only}).front();
    }

    const KernelConnectors kernel_;
};

TEST_F(ViewerOutputIdentityTest, AMonitorHasTheIdThatAnXSessionGivesIt) {
    const auto edid = EDIDBlock().serialNumber(1).monitorName("VX 2780").bytes();
    kernel_.add("card0-DP-1", "connected", edid);
    EXPECT_EQ(identity(output("DP-1")), ViewerMonitorIdentity::of(edid, "DP-3", "DP-3"));
    EXPECT_EQ(identity(output("DP-1")).name, "VX 2780");
}

TEST_F(ViewerOutputIdentityTest, SoHasOneWithoutASerialNumberUnderEitherNameOfItsConnector) {
    const auto edid = EDIDBlock().monitorName("VX 2780").bytes();
    kernel_.add("card0-HDMI-A-1", "connected", edid);
    const ViewerMonitorIdentity onX = ViewerMonitorIdentity::of(edid, "HDMI-1", "HDMI-1");
    EXPECT_EQ(identity(output("HDMI-A-1")), onX);
    EXPECT_EQ(identity(output("HDMI-1")), onX);
}

TEST_F(ViewerOutputIdentityTest, AnEDIDWithoutANameLeavesItToMakeAndModel) {
    kernel_.add("card0-DP-1", "connected", EDIDBlock().serialNumber(1).bytes());
    EXPECT_EQ(identity(output("DP-1")).name, "Maker Model");
}

TEST_F(ViewerOutputIdentityTest, TwinsKeepTwoIdsWhichFollowTheConnector) {
    const auto edid = EDIDBlock().serialNumber(1).monitorName("VX 2780").bytes();
    kernel_.add("card0-DP-1", "connected", edid);
    kernel_.add("card0-DP-2", "connected", edid);
    const auto both = identities({output("DP-1"), output("DP-2")});
    EXPECT_NE(both[0].uuidText, both[1].uuidText);
    EXPECT_EQ(both[0].name, "VX 2780");
    const auto swapped = identities({output("DP-2"), output("DP-1")});
    EXPECT_EQ(swapped[0], both[1]);
    EXPECT_EQ(swapped[1], both[0]);
}

TEST_F(ViewerOutputIdentityTest, EqualMonitorsWithoutSerialNumbersKeepTheirTwoIdsAlone) {
    const auto edid = EDIDBlock().monitorName("VX 2780").bytes();
    kernel_.add("card0-DP-1", "connected", edid);
    kernel_.add("card0-DP-2", "connected", edid);
    const auto both = identities({output("DP-1"), output("DP-2")});
    EXPECT_NE(both[0].uuidText, both[1].uuidText);
    EXPECT_EQ(identity(output("DP-1")), both[0]);
}

TEST_F(ViewerOutputIdentityTest, WithoutAnEDIDConnectorMakeAndModelTellTheMonitor) {
    const std::string uuid = identity(output("DP-1")).uuidText;
    EXPECT_EQ(uuid.size(), 36U);
    EXPECT_EQ(identity(output("DP-1")).uuidText, uuid);
    EXPECT_NE(identity(output("DP-2")).uuidText, uuid);
    EXPECT_NE(identity(output("DP-1", "Make", "rModel")).uuidText, uuid);
    EXPECT_NE(identity(output("DP-1", "Maker", "Other")).uuidText, uuid);
}

TEST_F(ViewerOutputIdentityTest, AnOutputWithoutAConnectorsNameHasNoLastingId) {
    EXPECT_EQ(identity(output("")).uuidText, "");
    EXPECT_EQ(identity(output("")).name, "Maker Model");
}

TEST_F(ViewerOutputIdentityTest, TheNameIsOfWhatIsKnown) {
    EXPECT_EQ(identity(output("A", "Dell Inc.", "U2720Q")).name, "Dell Inc. U2720Q");
    EXPECT_EQ(identity(output("A", "Unknown", "U2720Q")).name, "U2720Q");
    EXPECT_EQ(identity(output("A", "Dell", "Dell U2720Q")).name, "Dell U2720Q");
    EXPECT_EQ(identity(output("A", "Dell", "")).name, "Dell");
    EXPECT_EQ(identity(output("A", "unknown", "Unknown")).name, "");
    EXPECT_EQ(identity(output("A", "b\xfcro", "1")).name, "b\uFFFDro 1");
}

}  // namespace
}  // namespace velmora
