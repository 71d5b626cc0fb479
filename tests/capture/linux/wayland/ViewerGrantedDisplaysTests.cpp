#include "core/capture/linux/wayland/ViewerGrantedDisplays.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/linux/identity/ViewerMonitorIdentity.h"
#include "tests/support/capture/EDIDBlock.h"
#include "tests/support/capture/KernelConnectors.h"
#include "tests/support/wayland/FakeOutputs.h"

namespace velmora {
namespace {

using Outputs = std::vector<ViewerWaylandOutput>;

ViewerOutputs::Current told(Outputs outputs) {
    return std::make_shared<const ViewerOutputs::Snapshot>(
        ViewerOutputs::Snapshot{std::move(outputs), false});
}

ViewerWaylandOutput left() {
    return FakeOutputs::output(1, 0, 1920);
}

ViewerWaylandOutput right() {
    return FakeOutputs::output(2, 1920, 1280);
}

ViewerMatchedStream of(std::uint32_t global) {
    ViewerGrantedStream stream;
    stream.node = 40 + global;
    return {stream, global};
}

ViewerMatchedStream oneOf(std::vector<std::uint32_t> outputs, std::uint32_t node = 50) {
    ViewerGrantedStream stream;
    stream.node = node;
    stream.size = ViewerLogicalSize{1920, 1080};
    return {stream, std::nullopt, std::move(outputs)};
}

class ViewerGrantedDisplaysTest : public testing::Test {
  protected:
    const ViewerNativeDisplay& listed(std::size_t index) const {
        return displays_.list()->at(index);
    }
    std::size_t count() const { return displays_.list()->size(); }
    std::string uuid(std::size_t index) const { return listed(index).uuidText.value(); }

    const KernelConnectors kernel_;
    ViewerGrantedDisplays displays_{kernel_.folder()};
};

TEST_F(ViewerGrantedDisplaysTest, WhatIsGrantedIsListedAndNothingElse) {
    EXPECT_TRUE(displays_.grant({of(2)}, told({left(), right()})));
    ASSERT_EQ(count(), 1U);
    EXPECT_EQ(listed(0).width, 1280);
    EXPECT_EQ(listed(0).height, 1080);
    EXPECT_EQ(listed(0).name, "Maker Model");
    EXPECT_EQ(displays_.find(uuid(0))->stream.node, 42U);
    EXPECT_EQ(displays_.find("another"), nullptr);
}

TEST_F(ViewerGrantedDisplaysTest, AMonitorIsCalledAsOnX11) {
    const auto edid = EDIDBlock().serialNumber(1).monitorName("VX 2780").bytes();
    kernel_.add("card0-DP-1", "connected", edid);
    displays_.grant({of(1)}, told({left()}));
    EXPECT_EQ(uuid(0), ViewerMonitorIdentity::of(edid, "DP-1", "DP-1").uuidText);
    EXPECT_EQ(listed(0).name, "VX 2780");
}

TEST_F(ViewerGrantedDisplaysTest, AnOutputWithoutANameHasANumber) {
    ViewerWaylandOutput nameless = right();
    nameless.make = "Unknown";
    nameless.model = "Unknown";
    displays_.grant({of(1), of(2)}, told({left(), nameless}));
    EXPECT_EQ(listed(1).name, std::nullopt);
    EXPECT_EQ(listed(1).number, 2U);
}

TEST_F(ViewerGrantedDisplaysTest, SizesAreAsThePictureIsSeenInPixels) {
    ViewerWaylandOutput turned = left();
    turned.transform = 3;
    turned.logicalSize = {540, 960};
    displays_.grant({of(1)}, told({turned}));
    EXPECT_EQ(listed(0).width, 1080);
    EXPECT_EQ(listed(0).height, 1920);
}

TEST_F(ViewerGrantedDisplaysTest, AnOutputThatIsTurnedLaterStaysTheSameDisplay) {
    displays_.grant({of(1)}, told({left()}));
    const std::string before = uuid(0);
    ViewerWaylandOutput turned = left();
    turned.transform = 1;
    displays_.follow(told({turned}));
    EXPECT_EQ(uuid(0), before);
    EXPECT_EQ(listed(0).width, 1080);
    EXPECT_EQ(displays_.find(before)->output->transform, 1);
}

TEST_F(ViewerGrantedDisplaysTest, TheMainDisplayIsAtTheOriginElseTheFirst) {
    displays_.grant({of(2), of(1)}, told({left(), right()}));
    EXPECT_TRUE(listed(0).isMain);
    EXPECT_FALSE(listed(1).isMain);
    ViewerWaylandOutput moved = left();
    moved.position = {1280, 0};
    ViewerWaylandOutput first = right();
    first.position = {0, 0};
    displays_.follow(told({moved, first}));
    EXPECT_FALSE(listed(0).isMain);
    EXPECT_TRUE(listed(1).isMain);
    first.position = {5, 5};
    displays_.follow(told({moved, first}));
    EXPECT_TRUE(listed(0).isMain);
}

TEST_F(ViewerGrantedDisplaysTest, TheOrderIsTheCompositorsWhateverThePortals) {
    displays_.grant({of(2), of(1)}, told({left(), right()}));
    EXPECT_EQ(listed(0).width, 1920);
    EXPECT_EQ(listed(1).width, 1280);
}

TEST_F(ViewerGrantedDisplaysTest, AnOutputThatGoesLeavesUntilItIsGrantedAgain) {
    displays_.grant({of(1), of(2)}, told({left(), right()}));
    const std::string id = uuid(1);
    displays_.follow(told({left()}));
    EXPECT_EQ(count(), 1U);
    displays_.follow(told({left(), right()}));
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(displays_.find(id), nullptr);
    displays_.grant({of(1), of(2)}, told({left(), right()}));
    ASSERT_EQ(count(), 2U);
    EXPECT_EQ(uuid(1), id);
}

TEST_F(ViewerGrantedDisplaysTest, AnotherOutputInItsPlaceIsNotTheOneThatWent) {
    ViewerWaylandOutput elsewhere = left();
    elsewhere.connector = "DP-9";
    ViewerWaylandOutput ofAnotherMaker = left();
    ofAnotherMaker.make = "Another";
    ViewerWaylandOutput ofAnotherModel = left();
    ofAnotherModel.model = "Another";
    for (const ViewerWaylandOutput& other : {elsewhere, ofAnotherMaker, ofAnotherModel}) {
        displays_.grant({of(1)}, told({left()}));
        EXPECT_EQ(count(), 1U);
        displays_.follow(told({other}));
        EXPECT_EQ(count(), 0U);
    }
}

TEST_F(ViewerGrantedDisplaysTest, AnotherOutputUnderTheSameNumberIsNotGrantedForTheFirst) {
    displays_.grant({of(1)}, told({left()}));
    ViewerWaylandOutput other = left();
    other.connector = "DP-9";
    EXPECT_FALSE(displays_.grant({of(1)}, told({other})));
    EXPECT_EQ(count(), 0U);
}

TEST_F(ViewerGrantedDisplaysTest, WhatTheFirstGrantDidNotHaveIsNeverListed) {
    displays_.grant({of(1)}, told({left(), right()}));
    EXPECT_TRUE(displays_.grant({of(1), of(2)}, told({left(), right()})));
    EXPECT_EQ(count(), 1U);
    EXPECT_FALSE(displays_.grant({of(2)}, told({left(), right()})));
    EXPECT_EQ(count(), 0U);
}

TEST_F(ViewerGrantedDisplaysTest, WithoutACompositorNothingIsListedAndNothingForgotten) {
    displays_.grant({of(1)}, told({left()}));
    displays_.follow(nullptr);
    EXPECT_EQ(count(), 0U);
    displays_.follow(told({left()}));
    EXPECT_EQ(count(), 1U);
}

TEST_F(ViewerGrantedDisplaysTest, WithoutACompositorTheEmptyListIsOneObjectToo) {
    displays_.grant({of(1)}, told({left()}));
    displays_.follow(nullptr);
    const auto list = displays_.list();
    displays_.follow(nullptr);
    EXPECT_EQ(displays_.list(), list);
}

TEST_F(ViewerGrantedDisplaysTest, AnUnchangedListIsTheSameObject) {
    const auto compositor = told({left(), right()});
    displays_.grant({of(1)}, compositor);
    const auto list = displays_.list();
    displays_.follow(compositor);
    EXPECT_EQ(displays_.list(), list);
    ViewerWaylandOutput moved = right();
    moved.position = {0, 1080};
    displays_.follow(told({left(), moved}));
    EXPECT_EQ(displays_.list(), list);
}

TEST_F(ViewerGrantedDisplaysTest, ATwinThatComesLaterChangesNobodysId) {
    const auto edid = EDIDBlock().serialNumber(1).bytes();
    kernel_.add("card0-DP-1", "connected", edid);
    displays_.grant({of(1)}, told({left()}));
    const std::string id = uuid(0);
    kernel_.add("card0-DP-2", "connected", edid);
    displays_.grant({of(1)}, told({left(), right()}));
    ASSERT_EQ(count(), 1U);
    EXPECT_EQ(uuid(0), id);
}

TEST_F(ViewerGrantedDisplaysTest, WhatIsNotToldApartIsListedWithANumberAndTheCommonSize) {
    ViewerWaylandOutput scaled = left();
    scaled.mode = {3840, 2160};
    ViewerWaylandOutput twin = scaled;
    twin.global = 2;
    displays_.grant({oneOf({1, 2}, 50), oneOf({1, 2}, 51)}, told({scaled, twin}));
    ASSERT_EQ(count(), 2U);
    EXPECT_NE(uuid(0), uuid(1));
    EXPECT_EQ(listed(0).name, std::nullopt);
    EXPECT_EQ(listed(0).number, 1U);
    EXPECT_EQ(listed(1).number, 2U);
    EXPECT_EQ(listed(0).width, 3840);
    EXPECT_TRUE(listed(0).isMain);
    EXPECT_FALSE(displays_.find(uuid(0))->output);
}

TEST_F(ViewerGrantedDisplaysTest, WithoutACommonSizeItIsTheStreamsOwn) {
    ViewerWaylandOutput scaled = left();
    scaled.mode = {3840, 2160};
    ViewerWaylandOutput other = left();
    other.global = 2;
    other.mode = {2560, 1440};
    displays_.grant({oneOf({1, 2})}, told({scaled, other}));
    EXPECT_EQ(listed(0).width, 1920);
}

TEST_F(ViewerGrantedDisplaysTest, WhatIsNotToldApartComesBackUnderAnotherIdAndNotMoreOften) {
    ViewerWaylandOutput twin = left();
    twin.global = 2;
    const auto compositor = told({left(), twin});
    displays_.grant({oneOf({1, 2}, 50)}, compositor);
    const std::string id = uuid(0);
    displays_.grant({oneOf({1, 2}, 51), oneOf({1, 2}, 52)}, compositor);
    ASSERT_EQ(count(), 1U);
    EXPECT_NE(uuid(0), id);
}

TEST_F(ViewerGrantedDisplaysTest, WhatIsNotToldApartComesBackOnlyInASizeThatWasGranted) {
    Outputs outputs = {left(), left(), right(), right()};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outputs[i].global = static_cast<std::uint32_t>(i + 1);
    }
    displays_.grant({oneOf({1, 2}, 50)}, told(outputs));
    ViewerMatchedStream another = oneOf({3, 4}, 51);
    another.stream.size = ViewerLogicalSize{1280, 1080};
    EXPECT_FALSE(displays_.grant({another}, told(outputs)));
    EXPECT_TRUE(displays_.grant({oneOf({1, 2}, 52), another}, told(outputs)));
    ASSERT_EQ(count(), 1U);
    EXPECT_EQ(listed(0).width, 1920);
}

TEST_F(ViewerGrantedDisplaysTest, WhatIsNotToldApartIsInTheOrderOfItsNodesBehindTheOthers) {
    ViewerWaylandOutput twin = left();
    twin.global = 3;
    displays_.grant({oneOf({1, 3}, 51), oneOf({1, 3}, 50), of(2)}, told({left(), right(), twin}));
    ASSERT_EQ(count(), 3U);
    EXPECT_EQ(displays_.find(uuid(0))->stream.node, 42U);
    EXPECT_EQ(displays_.find(uuid(1))->stream.node, 50U);
    EXPECT_EQ(displays_.find(uuid(2))->stream.node, 51U);
}

TEST_F(ViewerGrantedDisplaysTest, WhereTheOneThatWentIsNotKnownNoneOfThemStays) {
    ViewerWaylandOutput twin = left();
    twin.global = 2;
    displays_.grant({oneOf({1, 2}, 50), oneOf({1, 2}, 51)}, told({left(), twin}));
    displays_.follow(told({left()}));
    EXPECT_EQ(count(), 0U);
}

TEST_F(ViewerGrantedDisplaysTest, AsManyAsAreLeftStayInTheSizeOfThoseThatAreLeft) {
    ViewerWaylandOutput twin = left();
    twin.global = 2;
    displays_.grant({oneOf({1, 2})}, told({left(), twin}));
    const std::string id = uuid(0);
    twin.mode = {3840, 2160};
    EXPECT_TRUE(displays_.follow(told({twin})).empty());
    ASSERT_EQ(count(), 1U);
    EXPECT_EQ(uuid(0), id);
    EXPECT_EQ(listed(0).width, 3840);
}

TEST_F(ViewerGrantedDisplaysTest, AnOutputThatGoesIsNoMatterOfThoseOfAnotherSize) {
    Outputs outputs = {left(), left(), right(), right()};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outputs[i].global = static_cast<std::uint32_t>(i + 1);
    }
    displays_.grant({oneOf({1, 2}, 50), oneOf({3, 4}, 51)}, told(outputs));
    outputs.pop_back();
    displays_.follow(told(outputs));
    EXPECT_EQ(count(), 2U);
}

TEST_F(ViewerGrantedDisplaysTest, AnOutputWithoutAConnectorsNameHasAnIdForThisSessionAlone) {
    ViewerWaylandOutput nameless = left();
    nameless.connector = "";
    displays_.grant({of(1)}, told({nameless}));
    const std::string id = uuid(0);
    EXPECT_EQ(id.size(), 36U);
    displays_.grant({of(1)}, told({nameless}));
    EXPECT_EQ(uuid(0), id);
    ViewerGrantedDisplays others(kernel_.folder());
    others.grant({of(1)}, told({nameless}));
    EXPECT_NE(others.list()->front().uuidText, id);
}

}  // namespace
}  // namespace velmora
