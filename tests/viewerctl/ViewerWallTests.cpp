#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "viewerctl/ViewerChanges.h"
#include "viewerctl/ViewerWallHost.h"
#include "viewerctl/ViewerWallLook.h"
#include "viewerctl/ViewerWallMessage.h"
#include "viewerctl/ViewerWallTile.h"
#include "viewerctl/ViewerWallToken.h"

namespace velmora {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

const ViewerWallMessage::TimePoint now{std::chrono::hours(1)};

TEST(ViewerWallLook, IsTilesAndTheirIntervals) {
    const auto look = ViewerWallLook::parse(R"({"kind":"look","tiles":[[7,1000],[9,200]]})");
    EXPECT_EQ(look, (ViewerWallLook::Tiles{{7, milliseconds(1000)}, {9, milliseconds(200)}}));
    EXPECT_EQ(ViewerWallLook::parse(R"({"tiles":[],"kind":"look"})"), ViewerWallLook::Tiles());
    EXPECT_TRUE(ViewerWallLook::parse(R"({"kind":"look","tiles":[[4294967295,600000]]})"));
}

TEST(ViewerWallLook, IsNothingElse) {
    for (const std::string text : {"",
                                   "{",
                                   "[]",
                                   "null",
                                   R"({"kind":"look"})",
                                   R"({"tiles":[]})",
                                   R"({"kind":"see","tiles":[]})",
                                   R"({"kind":"look","tiles":{}})",
                                   R"({"kind":"look","tiles":[],"more":1})",
                                   R"({"kind":"look","tiles":[7]})",
                                   R"({"kind":"look","tiles":[[7]]})",
                                   R"({"kind":"look","tiles":[[7,1000,1]]})",
                                   R"({"kind":"look","tiles":[[-1,1000]]})",
                                   R"({"kind":"look","tiles":[[7,199]]})",
                                   R"({"kind":"look","tiles":[[7,600001]]})",
                                   R"({"kind":"look","tiles":[[7,1000.5]]})",
                                   R"({"kind":"look","tiles":[["7",1000]]})",
                                   R"({"kind":"look","tiles":[[4294967296,1000]]})",
                                   R"({"kind":"look","tiles":[[18446744073709551615,1000]]})",
                                   R"({"kind":"look","tiles":[]} x)",
                                   "\xff"}) {
        EXPECT_FALSE(ViewerWallLook::parse(text)) << text;
    }
}

TEST(ViewerWallToken, IsNeverTheSame) {
    const std::string token = ViewerWallToken::make();
    EXPECT_THAT(token, testing::MatchesRegex("[0-9a-f]+"));
    EXPECT_EQ(token.size(), 64U);
    EXPECT_NE(token, ViewerWallToken::make());
}

TEST(ViewerWallToken, IsOneOfTheProtocolsThatAPageOffers) {
    for (const std::string list : {"secret", "wall, secret", "wall,secret\t, more", ",secret"}) {
        EXPECT_TRUE(ViewerWallToken::isOffered(list, "secret")) << list;
    }
    for (const std::string list : {"", ",", "wall", "secre", "secrets", "secreT", "sec,ret"}) {
        EXPECT_FALSE(ViewerWallToken::isOffered(list, "secret")) << list;
    }
}

TEST(ViewerChanges, AreTakenInTheirOrderEachOnce) {
    ViewerChanges<int> changes;
    for (const int number : {3, 1, 3, 2, 1}) {
        changes.add(number);
    }
    EXPECT_EQ(changes.take(), 3);
    changes.add(3);
    EXPECT_EQ(changes.take(), 1);
    EXPECT_EQ(changes.take(), 2);
    EXPECT_EQ(changes.take(), 3);
    EXPECT_TRUE(changes.empty());
}

/// A host with one display, as the wall keeps them.
class ViewerWallMessages : public testing::Test {
  protected:
    boost::asio::io_context loop_;
    ViewerWallHost host_{loop_, ViewerListedHost(ViewerHostAddress("studio", 9090), "Hall")};
    ViewerWallTile tile_{loop_, 258, 0, ViewerHostDisplay("id", "A \"name\"\x1b", 1920, 1080)};
};

TEST_F(ViewerWallMessages, NameTheHostsInTheirOrder) {
    ViewerWallMessage::Hosts hosts;
    for (const std::string name : {"two", "one"}) {
        hosts.push_back(std::make_unique<ViewerWallHost>(
            loop_, ViewerListedHost(ViewerHostAddress(name, 9091), "")));
    }
    EXPECT_THAT(ViewerWallMessage::ofHosts(hosts),
                HasSubstr(R"("hosts":[{"host":0,"address":"two:9091","group":""},)"
                          R"({"host":1,"address":"one:9091","group":""}]})"));
}

TEST_F(ViewerWallMessages, SayForHowLongAHostHasFailedAndWhichDisplaysItHad) {
    host_.failure = ViewerFailure::timedOut;
    host_.since = now - milliseconds(12'300);
    host_.machine = "Studio";
    host_.tiles = {258};
    EXPECT_EQ(ViewerWallMessage::ofHost(
                  3, host_, [this](std::uint32_t) -> const ViewerWallTile& { return tile_; }, now),
              R"({"kind":"host","host":3,"failure":"timed-out","seconds":1.23E1,)"
              R"("machine":"Studio","displays":[{"tile":258,"id":"id",)"
              R"("name":"A \"name\"\u001b","width":1920,"height":1080}]})");
}

TEST_F(ViewerWallMessages, SayHowItStandsWithADisplay) {
    tile_.stateSince = now - std::chrono::seconds(2);
    tile_.state = ViewerTileState::noPicture;
    EXPECT_EQ(ViewerWallMessage::ofTile(tile_, now),
              R"({"kind":"tile","tile":258,"state":"no-picture","failure":null,"seconds":2E0})");
    tile_.state = ViewerTileState::failed;
    tile_.failure = ViewerFailure::badPicture;
    EXPECT_EQ(ViewerWallMessage::ofTile(tile_, now),
              R"({"kind":"tile","tile":258,"state":"failed","failure":"bad-picture",)"
              R"("seconds":2E0})");
}

TEST_F(ViewerWallMessages, SayWhatAPictureIsOf) {
    using namespace std::string_literals;
    tile_.picture = ViewerHostFrame(ViewerBytes(std::string_view("jpeg")), "label");
    tile_.pictureSince = now - milliseconds(0x010203);
    EXPECT_EQ(ViewerWallMessage::beforePicture(tile_, now), "\0\0\1\2\0\1\2\3\5label"s);
    tile_.pictureSince = now - std::chrono::hours(24 * 365);
    EXPECT_EQ(ViewerWallMessage::beforePicture(tile_, now), "\0\0\1\2\xff\xff\xff\xff\5label"s);
}

}  // namespace

}  // namespace velmora
