#include "viewerctl/ViewerWallRoom.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

namespace {

using testing::ElementsAre;

ViewerHostDisplayListing listingOf(const std::vector<std::string>& displayIDs) {
    std::vector<ViewerHostDisplay> displays;
    displays.reserve(displayIDs.size());
    for (const std::string& each : displayIDs) {
        displays.emplace_back(each, "Screen", 1920, 1080);
    }
    return {std::string(ViewerHostProtocolV1::protocolIdentifier), ViewerHostProtocolV1::version,
            "Studio", std::move(displays)};
}

ViewerHostFrame pictureOf(std::size_t bytes) {
    return {ViewerBytes(std::string(bytes, 'x')), "label"};
}

/// A room with two hosts.
class ViewerWallRooms : public testing::Test {
  protected:
    boost::asio::io_context loop_;
    ViewerWallRoom room_{loop_,
                         {ViewerListedHost(ViewerHostAddress("one", 9090), "Hall"),
                          ViewerListedHost(ViewerHostAddress("two", 9090), ""),
                          ViewerListedHost(ViewerHostAddress("one", 9090), "")}};
};

TEST_F(ViewerWallRooms, HaveAHostOnceWhereItIsNamedFirst) {
    ASSERT_EQ(room_.hosts().size(), 2U);
    EXPECT_EQ(room_.hosts()[0]->listed.group, "Hall");
    EXPECT_EQ(room_.hosts()[1]->listed.address.name, "two");
}

TEST_F(ViewerWallRooms, GiveEachDisplayOfEachHostATileOfItsOwn) {
    EXPECT_TRUE(room_.takeListing(0, listingOf({"a", "b"})));
    EXPECT_TRUE(room_.takeListing(1, listingOf({"a", "a"})));
    EXPECT_THAT(room_.hosts()[0]->tiles, ElementsAre(1, 2));
    EXPECT_THAT(room_.hosts()[1]->tiles, ElementsAre(3));
    EXPECT_EQ(room_.tile(3)->host, 1U);
    EXPECT_EQ(room_.tile(4), nullptr);
}

TEST_F(ViewerWallRooms, TellWhetherAListingDiffersFromTheOneBefore) {
    EXPECT_TRUE(room_.takeListing(0, listingOf({"a", "b"})));
    EXPECT_FALSE(room_.takeListing(0, listingOf({"a", "b"})));
    EXPECT_TRUE(room_.takeListing(0, listingOf({"b", "a"})));
    auto renamed = listingOf({"b", "a"});
    renamed.displays[0].name = "Other";
    EXPECT_TRUE(room_.takeListing(0, renamed));
    EXPECT_EQ(room_.tile(2)->display.name, "Other");
    renamed.machineName = "Other";
    EXPECT_TRUE(room_.takeListing(0, renamed));
}

TEST_F(ViewerWallRooms, KeepTheTileOfADisplayThatComesBackButNotItsPicture) {
    room_.takeListing(0, listingOf({"a", "b"}));
    room_.tile(2)->picture = pictureOf(1);
    room_.takeListing(0, listingOf({"a"}));
    EXPECT_FALSE(room_.tile(2)->isListed);
    EXPECT_FALSE(room_.tile(2)->picture);
    room_.takeListing(0, listingOf({"b"}));
    EXPECT_THAT(room_.hosts()[0]->tiles, ElementsAre(2));
    EXPECT_TRUE(room_.tile(2)->isListed);
}

TEST_F(ViewerWallRooms, DoNotGrowWithAHostThatListsOthersEachTime) {
    for (int number = 0; number < 1'000; ++number) {
        room_.takeListing(0, listingOf({"id" + std::to_string(number)}));
        EXPECT_LE(room_.tiles().size(), ViewerWallRoom::mostUnlisted + 1);
        EXPECT_EQ(room_.tiles().size(), room_.hosts()[0]->numbers.size());
    }
}

TEST_F(ViewerWallRooms, KeepATileWhoseTaskStillRuns) {
    room_.takeListing(0, listingOf({"asked"}));
    room_.tile(1)->isPolled = true;
    for (int number = 0; number < 200; ++number) {
        room_.takeListing(0, listingOf({"id" + std::to_string(number)}));
    }
    EXPECT_NE(room_.tile(1), nullptr);
}

TEST_F(ViewerWallRooms, DropPicturesThatNobodyLooksAtWhenTheyTakeTooMuch) {
    room_.takeListing(0, listingOf({"seen", "unseen", "too"}));
    const std::chrono::seconds interval(1);
    room_.tile(1)->looks.emplace(nullptr, interval);
    room_.tile(1)->picture = pictureOf(ViewerWallRoom::mostUnseen);
    room_.tile(2)->picture = pictureOf(ViewerWallRoom::mostUnseen);
    room_.forgetUnseenPictures();
    EXPECT_TRUE(room_.tile(2)->picture);
    room_.tile(3)->picture = pictureOf(1);
    room_.forgetUnseenPictures();
    EXPECT_TRUE(room_.tile(1)->picture);
    EXPECT_FALSE(room_.tile(2)->picture);
}

}  // namespace

}  // namespace velmora
