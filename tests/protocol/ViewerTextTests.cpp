#include "core/protocol/ViewerText.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

namespace velmora {
namespace {

/// The longest that lies in place, and one more.
const std::string longestInPlace(256, 'a');
const std::string elsewhere(257, 'b');

TEST(ViewerText, IsEmptyUntilSomethingIsAppended) {
    ViewerText text;
    EXPECT_EQ(text.size(), 0U);
    EXPECT_EQ(text, "");
    text.append("ab");
    text.append("");
    text.append(std::string_view("c\0d", 3));
    EXPECT_EQ(text, std::string_view("abc\0d", 5));
}

TEST(ViewerText, LiesInPlaceUpToALengthAndElsewhereBeyond) {
    const auto isInPlace = [](const ViewerText& text) {
        const auto* const begin = reinterpret_cast<const char*>(&text);
        return text.data() >= begin && text.data() < begin + sizeof text;
    };
    EXPECT_TRUE(isInPlace(ViewerText(longestInPlace)));
    EXPECT_FALSE(isInPlace(ViewerText(elsewhere)));
}

TEST(ViewerText, GrowsFromOnePlaceIntoTheOther) {
    ViewerText text(longestInPlace);
    text.append("b");
    EXPECT_EQ(text, longestInPlace + "b");
    text.append(elsewhere);
    EXPECT_EQ(text, longestInPlace + "b" + elsewhere);
}

TEST(ViewerText, IsCopiedAndMovedWhereverItLies) {
    for (const std::string& content : {std::string(), longestInPlace, elsewhere}) {
        for (const std::string& before : {std::string(), longestInPlace, elsewhere}) {
            const ViewerText original(content);
            ViewerText copy(before);
            copy = original;
            EXPECT_EQ(copy, content);
            EXPECT_EQ(original, content);
            ViewerText moved(before);
            moved = std::move(copy);
            EXPECT_EQ(moved, content);
            moved.append("x");
            EXPECT_EQ(ViewerText(moved), content + "x");
            EXPECT_EQ(ViewerText(std::move(moved)), content + "x");
        }
    }
}

TEST(ViewerText, OneThatWasMovedFromIsEmpty) {
    for (const std::string& content : {longestInPlace, elsewhere}) {
        ViewerText text(content);
        const ViewerText other(std::move(text));
        EXPECT_EQ(text, "");  // NOLINT(bugprone-use-after-move): what it is afterwards is asked.
        EXPECT_EQ(other, content);
    }
}

TEST(ViewerText, TextsAreEqualWhenTheirBytesAre) {
    EXPECT_EQ(ViewerText("a"), ViewerText("a"));
    EXPECT_EQ(ViewerText("a"), "a");
    EXPECT_EQ(std::string("a"), ViewerText("a"));
    EXPECT_NE(ViewerText("a"), ViewerText("b"));
    EXPECT_NE(ViewerText("a"), ViewerText("ab"));
    EXPECT_NE(ViewerText(elsewhere), ViewerText(elsewhere + "b"));
}

}  // namespace
}  // namespace velmora
