#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "tests/acceptance/ProtocolTest.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::Field;
using testing::MatchesRegex;

std::string head(const std::string& status, const std::string& type, std::size_t size,
                 const std::string& rest = "") {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(size) +
           "\r\nCache-Control: no-store\r\nConnection: close\r\n" + rest + "\r\n";
}

std::string emptyAnswer(const std::string& status) {
    return head(status, "text/plain", 0);
}

TEST_P(Protocol, TheListingHasExactlyItsBytes) {
    serve();
    const HTTPAnswer answer = list();

    EXPECT_TRUE(answer.isWhole);
    EXPECT_EQ(answer.head(), head("200 OK", "application/json", answer.body().size()));
    EXPECT_THAT(answer.body(),
                MatchesRegex(R"(\{"protocol":"Velmora\.Windows\.ViewerHost","version":1,)"
                             R"("machineName":"[^"]*","displays":\[\{"id":"macos-display:)"
                             R"([0-9a-f]{8}-[0-9a-f]{4}-5[0-9a-f]{3}-[89ab][0-9a-f]{3}-)"
                             R"([0-9a-f]{12}","name":"screen","width":1280,"height":720\}\]\})"));
}

TEST_P(Protocol, AFrameHasExactlyItsHeadAndShowsTheScreen) {
    serve();
    const HTTPAnswer answer = get(frameTarget(idOf("screen")));
    const std::string label = answer.header("X-Velmora-Frame").value_or("");

    EXPECT_TRUE(answer.isWhole);
    EXPECT_EQ(answer.head(), head("200 OK", "image/jpeg", answer.body().size(),
                                  "X-Velmora-Frame: " + label + "\r\n"));
    EXPECT_THAT(label, MatchesRegex("[0-9a-f]{32}-[0-9a-f]{32}-[1-9][0-9]*"));
    const auto picture = JPEGPicture::decode(answer.body());
    ASSERT_TRUE(picture.has_value());
    EXPECT_EQ(picture->width, 640);
    EXPECT_EQ(picture->height, 360);
    EXPECT_TRUE(picture->isAll(blue, jpegTolerance));
}

TEST_P(Protocol, AStillScreenKeepsItsLabelAndAChangeGetsANewOne) {
    serve();
    const std::string target = frameTarget(idOf("screen"));
    const auto first = get(target).header("X-Velmora-Frame");
    EXPECT_EQ(get(target).header("X-Velmora-Frame"), first);
    host_->fill({0, 0, 1280, 720}, 0x20d040);

    EXPECT_TRUE(eventually([&] {
        const HTTPAnswer answer = get(target);
        const auto picture = JPEGPicture::decode(answer.body());
        return picture && picture->isAll(0x20d040, jpegTolerance) &&
               answer.header("X-Velmora-Frame") != first;
    }));
}

TEST_P(Protocol, APercentEncodedIdNamesTheSameDisplay) {
    serve();
    std::string id = idOf("screen");
    id.replace(id.find(':'), 1, "%3A");

    EXPECT_TRUE(frameOf(id).has_value());
}

TEST_P(Protocol, AnIdStaysTheSameInTheNextRun) {
    serve();
    const std::string id = idOf("screen");
    EXPECT_TRUE(host_->end());
    serve();

    EXPECT_NE(id, "");
    EXPECT_EQ(idOf("screen"), id);
}

TEST_P(Protocol, EveryRefusalHasExactlyItsBytes) {
    serve();
    EXPECT_EQ(bytesAfter("GET / HTTP/1.1\r\n\r\n"), emptyAnswer("404 Not Found"));
    EXPECT_EQ(bytesAfter("GET /viewer/v1/displays/ HTTP/1.1\r\n\r\n"),
              emptyAnswer("404 Not Found"));
    EXPECT_EQ(bytesAfter("GET /viewer/v1/displays?x=1 HTTP/1.1\r\n\r\n"),
              emptyAnswer("404 Not Found"));
    EXPECT_EQ(bytesAfter("GET /viewer/v1/frame?id= HTTP/1.1\r\n\r\n"),
              emptyAnswer("404 Not Found"));
    EXPECT_EQ(bytesAfter("GET /viewer/v1/frame?id=%G1 HTTP/1.1\r\n\r\n"),
              emptyAnswer("404 Not Found"));
    EXPECT_EQ(bytesAfter("POST /viewer/v1/displays HTTP/1.1\r\n\r\n"),
              emptyAnswer("405 Method Not Allowed"));
    EXPECT_EQ(bytesAfter("get /viewer/v1/displays HTTP/1.1\r\n\r\n"),
              emptyAnswer("405 Method Not Allowed"));
    EXPECT_EQ(bytesAfter("GET /\r\n\r\n"), emptyAnswer("405 Method Not Allowed"));
    EXPECT_EQ(bytesAfter(std::string(8192, 'x')),
              emptyAnswer("431 Request Header Fields Too Large"));
}

TEST_P(Protocol, WhatFollowsTheFirstRequestIsNeverAnswered) {
    serve();
    EXPECT_EQ(bytesAfter("GET / HTTP/1.1\r\n\r\nGET / HTTP/1.1\r\n\r\n"),
              emptyAnswer("404 Not Found"));
}

TEST_P(Protocol, EachMonitorIsListedAndShowsItsOwnPart) {
    const ViewerRectangle left{0, 0, 320, 720};
    const ViewerRectangle right{320, 0, 960, 720};
    host_->setDisplay("Left", left, true);
    host_->setDisplay("Right", right, false);
    host_->fill(left, 0xc02020);
    host_->fill(right, 0x20c020);
    serve();
    const auto red = frameOf(idOf("Left"));
    const auto green = frameOf(idOf("Right"));

    ASSERT_TRUE(red && green);
    EXPECT_TRUE(red->isAll(0xc02020, jpegTolerance));
    EXPECT_EQ(red->width, 160);
    EXPECT_TRUE(green->isAll(0x20c020, jpegTolerance));
    EXPECT_EQ(green->width, 480);
}

TEST_P(Protocol, TheMainDisplayIsListedFirstAndTheOthersByNameAndNumber) {
    host_->setDisplay("Main", {0, 0, 400, 720}, true);
    host_->setDisplay("display 10", {400, 0, 400, 720}, false);
    host_->setDisplay("Display 2", {800, 0, 480, 720}, false);
    serve();
    const auto displays = displaysIn(list());

    ASSERT_TRUE(displays.has_value());
    EXPECT_THAT(*displays, ElementsAre(Field(&ViewerHostDisplay::name, "Main"),
                                       Field(&ViewerHostDisplay::name, "Display 2"),
                                       Field(&ViewerHostDisplay::name, "display 10")));
}

}  // namespace

}  // namespace velmora
