#include "core/protocol/ViewerHostListingJSON.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {
namespace {

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

std::string encodedName(std::string_view name) {
    const ViewerBytes bytes =
        ViewerHostListingJSON::encode(ViewerHostDisplay("1", std::string(name), 2, 3));
    return std::string(bytes.text());
}

/// A display's JSON with one member's value as given.
std::string displayWith(std::string_view member, std::string_view value) {
    const auto valueOf = [&](std::string_view name, std::string_view usual) {
        return '"' + std::string(name) + "\":" + std::string(name == member ? value : usual);
    };
    return '{' + valueOf("id", R"("1")") + ',' + valueOf("name", R"("D")") + ',' +
           valueOf("width", "2") + ',' + valueOf("height", "3") + '}';
}

/// A listing's JSON with one member's value as given.
std::string listingWith(std::string_view member, std::string_view value) {
    const auto valueOf = [&](std::string_view name, std::string_view usual) {
        return '"' + std::string(name) + "\":" + std::string(name == member ? value : usual);
    };
    return '{' + valueOf("protocol", R"("P")") + ',' + valueOf("version", "1") + ',' +
           valueOf("machineName", R"("M")") + ',' + valueOf("displays", "[]") + '}';
}

TEST(ViewerHostListingJSON, AListingHasItsExactBytes) {
    const ViewerHostDisplayListing listing("Velmora.Windows.ViewerHost", 1, "Studio",
                                           {{"1", "Display", 1512, 982}});
    EXPECT_EQ(ViewerHostListingJSON::encode(listing).text(),
              R"({"protocol":"Velmora.Windows.ViewerHost","version":1,"machineName":"Studio",)"
              R"("displays":[{"id":"1","name":"Display","width":1512,"height":982}]})");
}

TEST(ViewerHostListingJSON, DisplaysKeepTheirOrder) {
    const ViewerHostDisplayListing listing("P", 1, "M",
                                           {{"b", "B", 1, 2}, {"a", "A", 3, 4}, {"c", "C", 5, 6}});
    EXPECT_EQ(ViewerHostListingJSON::encode(listing).text(),
              R"({"protocol":"P","version":1,"machineName":"M","displays":[)"
              R"({"id":"b","name":"B","width":1,"height":2},)"
              R"({"id":"a","name":"A","width":3,"height":4},)"
              R"({"id":"c","name":"C","width":5,"height":6}]})");
}

TEST(ViewerHostListingJSON, NoDisplaysAreAnEmptyArray) {
    const ViewerHostDisplayListing listing("P", 1, "M", {});
    EXPECT_EQ(ViewerHostListingJSON::encode(listing).text(),
              R"({"protocol":"P","version":1,"machineName":"M","displays":[]})");
}

TEST(ViewerHostListingJSON, ASolidusIsWrittenBare) {
    EXPECT_EQ(encodedName("a/b"), R"({"id":"1","name":"a/b","width":2,"height":3})");
}

TEST(ViewerHostListingJSON, QuotationMarksAndBackslashesAreEscaped) {
    EXPECT_EQ(encodedName(R"("\)"), R"({"id":"1","name":"\"\\","width":2,"height":3})");
}

TEST(ViewerHostListingJSON, ControlCharactersAreEscaped) {
    EXPECT_EQ(encodedName(std::string_view("\b\f\n\r\t\0\x01\x1F\x7F", 9)),
              "{\"id\":\"1\",\"name\":\"\\b\\f\\n\\r\\t\\u0000\\u0001\\u001f\x7F\","
              "\"width\":2,\"height\":3}");
}

TEST(ViewerHostListingJSON, OtherLettersAreWrittenAsUTF8) {
    EXPECT_EQ(encodedName("Экран é \U0001F5A5"),
              "{\"id\":\"1\",\"name\":\"Экран é \U0001F5A5\",\"width\":2,\"height\":3}");
}

TEST(ViewerHostListingJSON, BrokenUTF8IsRepairedInEveryText) {
    const ViewerHostDisplayListing listing("P", 1, "m\xFF", {{"i\xC3", "n\xED\xA0\x80", 2, 3}});
    EXPECT_EQ(ViewerHostListingJSON::encode(listing).text(),
              "{\"protocol\":\"P\",\"version\":1,\"machineName\":\"m\uFFFD\",\"displays\":["
              "{\"id\":\"i\uFFFD\",\"name\":\"n\uFFFD\uFFFD\uFFFD\",\"width\":2,\"height\":3}]}");
}

TEST(ViewerHostListingJSON, TheWholeRangeOfNumbersIsWritten) {
    const ViewerHostDisplay display("1", "D", smallest, largest);
    EXPECT_EQ(ViewerHostListingJSON::encode(display).text(),
              R"({"id":"1","name":"D","width":-9223372036854775808,"height":9223372036854775807})");
}

TEST(ViewerHostListingJSON, LongTextsAreWrittenWhole) {
    // An escape at every distance from the places where the text is cut for writing.
    std::string plain(500, 'x');
    for (int distance = 0; distance < 300; ++distance) {
        plain.push_back('x');
        std::string expected = R"({"id":"1","name":")";
        expected.append(plain).append(R"(\")").append(plain).append(R"(","width":2,"height":3})");
        std::string name = plain;
        name.append("\"").append(plain);
        EXPECT_EQ(encodedName(name), expected);
    }
}

TEST(ViewerHostListingJSON, AnEncodedListingDecodesToItself) {
    const ViewerHostDisplayListing listing(
        "Velmora.Windows.ViewerHost", 1, "Студия \"A\"",
        {{"1", "a/b\\c\n", 1512, 982}, {"", "", smallest, largest}});
    EXPECT_EQ(ViewerHostListingJSON::decodeListing(ViewerHostListingJSON::encode(listing).text()),
              listing);
}

TEST(ViewerHostListingJSON, AnEncodedDisplayDecodesToItself) {
    const ViewerHostDisplay display("macos-display:1", "Экран \x01", -1, largest);
    EXPECT_EQ(ViewerHostListingJSON::decodeDisplay(ViewerHostListingJSON::encode(display).text()),
              display);
}

TEST(ViewerHostListingJSON, MembersMayStandInAnyOrderWithOthersAndWhiteSpace) {
    EXPECT_EQ(ViewerHostListingJSON::decodeDisplay(
                  " { \"height\" : 3, \"extra\" : [null],\n\"name\":\"\\u0044\\/\", \"width\":2,"
                  "\"id\":\"1\"}\n"),
              ViewerHostDisplay("1", "D/", 2, 3));
}

TEST(ViewerHostListingJSON, AnIntegerMayBeWrittenWithAnEmptyFraction) {
    EXPECT_EQ(ViewerHostListingJSON::decodeDisplay(displayWith("width", "2.0")),
              ViewerHostDisplay("1", "D", 2, 3));
    EXPECT_EQ(ViewerHostListingJSON::decodeDisplay(displayWith("width", "2e3")),
              ViewerHostDisplay("1", "D", 2000, 3));
}

TEST(ViewerHostListingJSON, ADisplayWithoutAMemberIsRefused) {
    EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(R"({"name":"D","width":2,"height":3})"));
    EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(R"({"id":"1","width":2,"height":3})"));
    EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(R"({"id":"1","name":"D","height":3})"));
    EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(R"({"id":"1","name":"D","width":2})"));
    EXPECT_FALSE(
        ViewerHostListingJSON::decodeDisplay(R"({"ID":"1","name":"D","width":2,"height":3})"));
}

TEST(ViewerHostListingJSON, AMemberOfTheWrongTypeIsRefused) {
    for (const char* wrong : {"1", "null", "true", "[]", "{}"}) {
        SCOPED_TRACE(wrong);
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("id", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("name", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(listingWith("protocol", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(listingWith("machineName", wrong)));
    }
    for (const char* wrong : {R"("1")", "null", "true", "[]", "{}"}) {
        SCOPED_TRACE(wrong);
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("width", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("height", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(listingWith("version", wrong)));
    }
    for (const char* wrong : {"1", R"("1")", "null", "true", "{}", "[1]", "[{}]", "[[]]"}) {
        SCOPED_TRACE(wrong);
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(listingWith("displays", wrong)));
    }
}

TEST(ViewerHostListingJSON, ANumberThatIsNoInteger64IsRefused) {
    for (const char* wrong : {"1.5", "-0.1", "1e-1", "9223372036854775808", "-9223372036854775809",
                              "1e19", "-1e19", "1e400"}) {
        SCOPED_TRACE(wrong);
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("width", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(displayWith("height", wrong)));
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(listingWith("version", wrong)));
    }
}

TEST(ViewerHostListingJSON, AListingWithoutAMemberIsRefused) {
    ASSERT_TRUE(ViewerHostListingJSON::decodeListing(
        R"({"protocol":"P","version":1,"machineName":"M","displays":[]})"));
    EXPECT_FALSE(
        ViewerHostListingJSON::decodeListing(R"({"version":1,"machineName":"M","displays":[]})"));
    EXPECT_FALSE(ViewerHostListingJSON::decodeListing(
        R"({"protocol":"P","machineName":"M","displays":[]})"));
    EXPECT_FALSE(
        ViewerHostListingJSON::decodeListing(R"({"protocol":"P","version":1,"displays":[]})"));
    EXPECT_FALSE(
        ViewerHostListingJSON::decodeListing(R"({"protocol":"P","version":1,"machineName":"M"})"));
}

TEST(ViewerHostListingJSON, OneBadDisplaySpoilsTheListing) {
    const std::string good = displayWith("", "");
    EXPECT_TRUE(ViewerHostListingJSON::decodeListing(
        listingWith("displays", '[' + good + ',' + good + ']')));
    EXPECT_FALSE(ViewerHostListingJSON::decodeListing(
        listingWith("displays", '[' + good + ',' + displayWith("width", "1.5") + ']')));
}

TEST(ViewerHostListingJSON, TextThatIsNotOneJSONObjectIsRefused) {
    const std::string good = displayWith("", "");
    const std::vector<std::string> broken{"",
                                          "null",
                                          "[]",
                                          "\"id\"",
                                          good + good,
                                          good + ",",
                                          good.substr(0, good.size() - 1),
                                          '[' + good + ']',
                                          "\xEF\xBB\xBF" + good,
                                          displayWith("name", "\"\xFF\""),
                                          displayWith("name", R"("\uD800")"),
                                          displayWith("width", "02"),
                                          displayWith("width", "+2")};
    for (const std::string& text : broken) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(ViewerHostListingJSON::decodeDisplay(text));
        EXPECT_FALSE(ViewerHostListingJSON::decodeListing(text));
    }
}

}  // namespace
}  // namespace velmora
