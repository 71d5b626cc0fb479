#include "app/linux/ViewerAlertMessage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora {

namespace {

ViewerAlertMessage message(std::vector<std::string> buttons = {"Продолжить", "Cancel"}) {
    return {ViewerAlert(ViewerAlertStyle::informational, "Title?",
                        std::string("a\nb\0c \xff →", 11), std::move(buttons)),
            "/tmp/folder"};
}

TEST(ViewerAlertMessage, ArrivesAsItWasSent) {
    for (const auto& buttons : {std::vector<std::string>{"OK"}, {"", "b"}, {"1", "2", "3"}}) {
        EXPECT_EQ(ViewerAlertMessage::decoded(message(buttons).encoded()), message(buttons));
    }
}

TEST(ViewerAlertMessage, CarriesEveryStyle) {
    for (const auto style :
         {ViewerAlertStyle::warning, ViewerAlertStyle::informational, ViewerAlertStyle::critical}) {
        ViewerAlertMessage sent = message();
        sent.alert.style = style;
        EXPECT_EQ(ViewerAlertMessage::decoded(sent.encoded()), sent);
    }
}

TEST(ViewerAlertMessage, IsNoneWhenAnythingOfItIsMissing) {
    const auto bytes = message().encoded();
    const auto oneButton = message({"Продолжить"}).encoded();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        if (size == oneButton.size()) {
            continue;  // what is there up to here is a message with one button
        }
        EXPECT_EQ(ViewerAlertMessage::decoded(std::span(bytes).first(size)), std::nullopt) << size;
    }
}

TEST(ViewerAlertMessage, WithATextThatIsLongerThanTheMessageIsNone) {
    const ViewerAlertMessage empty(ViewerAlert(ViewerAlertStyle::critical, "", "", {"OK"}), "");
    for (const std::size_t place : {1U, 5U, 9U, 13U}) {
        auto bytes = empty.encoded();
        // What follows can be read as the other texts.
        bytes.resize(bytes.size() + 8);
        bytes.at(place + 3) = 0x7F;
        EXPECT_EQ(ViewerAlertMessage::decoded(bytes), std::nullopt) << place;
    }
}

TEST(ViewerAlertMessage, WithoutAButtonIsNone) {
    EXPECT_EQ(ViewerAlertMessage::decoded(message({}).encoded()), std::nullopt);
}

TEST(ViewerAlertMessage, OfAnUnknownStyleIsNone) {
    auto bytes = message().encoded();
    bytes[0] = 3;
    EXPECT_EQ(ViewerAlertMessage::decoded(bytes), std::nullopt);
}

}  // namespace

}  // namespace velmora
