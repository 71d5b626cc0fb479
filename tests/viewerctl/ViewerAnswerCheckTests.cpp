#include "viewerctl/ViewerAnswerCheck.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace velmora {

namespace {

const std::string label = "0123456789abcdef0123456789abcdef-0123456789abcdef0123456789abcdef-1";
const std::string jpeg("\xFF\xD8\xFF\xC0\0\x0B\x08\0\x01\0\x01\x01\x01\x11\0", 15);

std::string head(std::size_t length, const std::string& type = "application/json",
                 const std::string& status = "200") {
    return "HTTP/1.1 " + status + " X\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(length) + "\r\nX-Velmora-Frame: " + label +
           "\r\n\r\n";
}

std::string display(const std::string& id = "i", const std::string& name = "n", int width = 1,
                    int height = 1) {
    return R"({"id":")" + id + R"(","name":")" + name + R"(","width":)" + std::to_string(width) +
           R"(,"height":)" + std::to_string(height) + "}";
}

std::string listing(const std::string& displays, const std::string& machine = "m",
                    const std::string& version = "1",
                    const std::string& protocol = "Velmora.Windows.ViewerHost") {
    return R"({"protocol":")" + protocol + R"(","version":)" + version + R"(,"machineName":")" +
           machine + R"(","displays":[)" + displays + "]}";
}

std::optional<ViewerFailure> failureOf(const std::string& body) {
    const auto outcome = ViewerAnswerCheck::listing(head(body.size()), body);
    return outcome ? std::nullopt : std::optional(outcome.failure());
}

std::optional<ViewerFailure> failureOfFrame(const std::string& head, const std::string& body) {
    const auto outcome = ViewerAnswerCheck::frame(head, body);
    return outcome ? std::nullopt : std::optional(outcome.failure());
}

TEST(ViewerAnswerCheck, TakesAListingWithinItsLimits) {
    const std::string longest(4'096, 'a');
    EXPECT_EQ(failureOf(listing("")), std::nullopt);
    EXPECT_EQ(failureOf(listing(display(longest, longest, 65'535, 65'535), longest)), std::nullopt);
    std::string many = display();
    for (int count = 1; count < 256; ++count) {
        many += "," + display();
    }
    EXPECT_EQ(failureOf(listing(many)), std::nullopt);
    EXPECT_EQ(failureOf(listing(many + "," + display())), ViewerFailure::notAViewerHost);
}

TEST(ViewerAnswerCheck, RefusesAListingBeyondThem) {
    const std::string tooLong(4'097, 'a');
    for (const std::string& body :
         {listing(display("")), listing(display(tooLong)), listing(display("i", tooLong)),
          listing(display("i", "n", 65'536)), listing(display("i", "n", 1, 65'536)),
          listing(display("i", "n", 0)), listing(display("i", "n", 1, 0)), listing("", tooLong)}) {
        EXPECT_EQ(failureOf(body), ViewerFailure::notAViewerHost) << body.substr(0, 200);
    }
}

TEST(ViewerAnswerCheck, KnowsAnotherVersionOfTheProtocolAlone) {
    EXPECT_EQ(failureOf(listing("", "m", "2")), ViewerFailure::otherVersion);
    EXPECT_EQ(failureOf(listing("", "m", "\"2\"")), ViewerFailure::notAViewerHost);
    EXPECT_EQ(failureOf(listing("", "m", "2", "other")), ViewerFailure::notAViewerHost);
    EXPECT_EQ(failureOf("[]"), ViewerFailure::notAViewerHost);
}

TEST(ViewerAnswerCheck, TakesAListingAsItsHeadSaysAlone) {
    const std::string body = listing("");
    for (const std::string& other :
         {head(body.size() + 1), head(body.size() - 1), head(body.size(), "text/html"),
          head(body.size(), "application/json", "201")}) {
        EXPECT_FALSE(ViewerAnswerCheck::listing(other, body)) << other;
    }
}

TEST(ViewerAnswerCheck, TellsADisplayThatIsGoneFromOneWithoutAPicture) {
    EXPECT_EQ(failureOfFrame(head(0, "text/plain", "404"), ""), ViewerFailure::noSuchDisplay);
    EXPECT_EQ(failureOfFrame(head(0, "text/plain", "503"), ""), ViewerFailure::noPicture);
    EXPECT_EQ(failureOfFrame(head(0, "text/html", "404"), ""), ViewerFailure::notAViewerHost);
    EXPECT_EQ(failureOfFrame(head(1, "text/plain", "503"), "a"), ViewerFailure::notAViewerHost);
    EXPECT_EQ(failureOfFrame(head(0, "text/plain", "500"), ""), ViewerFailure::notAViewerHost);
}

TEST(ViewerAnswerCheck, TakesAPictureOfBoundedLength) {
    std::string picture = jpeg;
    EXPECT_EQ(failureOfFrame(head(picture.size(), "image/jpeg"), picture), std::nullopt);
    EXPECT_EQ(failureOfFrame(head(picture.size(), "image/jpeg", "201"), picture),
              ViewerFailure::notAViewerHost);
    picture.resize(ViewerAnswerCheck::longestBody);
    EXPECT_EQ(failureOfFrame(head(picture.size(), "image/jpeg"), picture), std::nullopt);
    picture += ' ';
    EXPECT_EQ(failureOfFrame(head(picture.size(), "image/jpeg"), picture),
              ViewerFailure::badPicture);
}

}  // namespace

}  // namespace velmora
