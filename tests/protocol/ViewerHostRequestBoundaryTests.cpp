// Heads about as long as they may be: each length around the limit, each place of the head's end,
// each class of bytes. With a sanitizer, which makes this slow, only some of the places.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostRequestParser.h"

namespace velmora {
namespace {

using ParseResult = ViewerHostRequestParseResult;

constexpr std::size_t shortest = 8'190;
constexpr std::size_t limit = 8'192;
constexpr std::size_t longest = 8'194;
constexpr std::string_view headEnd = "\r\n\r\n";
constexpr std::size_t step = VIEWER_PLACE_STEP;

/// A letter, what separates, what ends lines when it is not alone, the ends of ASCII, and beyond
/// it.
constexpr std::array fillings{'x', ' ', '\t', '\r', '\n', '\0', '\x7F', '\x80', '\xFF'};

bool isASCII(char filling) {
    return static_cast<std::uint8_t>(filling) <= 0x7F;
}

ParseResult outcomeOf(std::string_view text) {
    return ViewerHostRequestParser::parse(
        {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

ParseResult accepted(const std::string& target) {
    return ParseResult::request(ViewerHostRequest("GET", target));
}

/// Puts the head's end, with `before` in front of it, over the text so that it begins at `place`.
std::string ended(std::string text, std::size_t place, std::string_view before = {}) {
    text.replace(place - before.size(), before.size(), before);
    text.replace(place, headEnd.size(), headEnd);
    return text;
}

/// `length` bytes that begin with `start` and go on with one byte.
std::string filled(std::string_view start, std::size_t length, char filling) {
    std::string text(start);
    text.resize(length, filling);
    return text;
}

/// Every place in a text of that length at which a head can end; the last one always.
template <typename Function>
void forEachPlace(std::size_t first, std::size_t length, const Function& function) {
    const std::size_t last = length - headEnd.size();
    for (std::size_t place = first; place < last; place += step) {
        function(place);
    }
    function(last);
}

template <typename Function>
void forEachLengthAndFilling(const Function& function) {
    for (std::size_t length = shortest; length <= longest; ++length) {
        for (const char filling : fillings) {
            function(length, filling);
        }
    }
}

/// What the connection is answered when its bytes arrive in two deliveries.
ParseResult answerTo(std::string_view text, std::size_t split) {
    const ParseResult first = outcomeOf(text.substr(0, split));
    return first == ParseResult::incomplete() ? outcomeOf(text) : first;
}

TEST(ViewerHostRequestBoundary, WithoutAnEndTheLengthAloneDecides) {
    forEachLengthAndFilling([](std::size_t length, char filling) {
        EXPECT_EQ(outcomeOf(filled("GET /a HTTP/1.1\r\nX: ", length, filling)),
                  length < limit ? ParseResult::incomplete() : ParseResult::headersTooLarge())
            << length << " bytes of " << static_cast<int>(filling);
    });
}

TEST(ViewerHostRequestBoundary, AHeadMayEndAnywhereWithinTheLimit) {
    forEachLengthAndFilling([](std::size_t length, char filling) {
        const std::string text = filled("GET /a HTTP/1.1\r\nX: ", length, filling);
        const std::size_t threeTokens = std::string_view("GET /a H").size();
        forEachPlace(0, length, [&](std::size_t place) {
            const ParseResult whole = place >= threeTokens && isASCII(filling)
                                          ? accepted("/a")
                                          : ParseResult::methodNotAllowed();
            ASSERT_EQ(outcomeOf(ended(text, place)),
                      length > limit ? ParseResult::headersTooLarge() : whole)
                << length << " bytes of " << static_cast<int>(filling) << ", end at " << place;
        });
    });
}

TEST(ViewerHostRequestBoundary, ATargetMayBeAsLongAsTheLimitAllows) {
    constexpr std::string_view start = "GET /";
    constexpr std::string_view version = " H";
    forEachLengthAndFilling([&](std::size_t length, char filling) {
        const std::string text = filled(start, length, filling);
        forEachPlace(start.size() + version.size(), length, [&](std::size_t place) {
            const std::size_t run = place - version.size() - start.size();
            const ParseResult whole =
                isASCII(filling) ? accepted("/" + (filling == ' ' ? "" : std::string(run, filling)))
                                 : ParseResult::methodNotAllowed();
            ASSERT_EQ(outcomeOf(ended(text, place, version)),
                      length > limit ? ParseResult::headersTooLarge() : whole)
                << length << " bytes of " << static_cast<int>(filling) << ", end at " << place;
        });
    });
}

TEST(ViewerHostRequestBoundary, NoSplitOfAHeadChangesItsAnswer) {
    forEachLengthAndFilling([](std::size_t length, char filling) {
        const std::string text =
            ended(filled("GET /a HTTP/1.1\r\nX: ", length, filling), length - headEnd.size());
        const ParseResult whole = outcomeOf(text);
        for (std::size_t split = 0; split <= length; split += step) {
            ASSERT_EQ(answerTo(text, split), whole)
                << length << " bytes of " << static_cast<int>(filling) << ", split at " << split;
        }
    });
}

TEST(ViewerHostRequestBoundary, NoSplitInFrontOfAHeadsEndChangesTheAnswer) {
    forEachLengthAndFilling([](std::size_t length, char filling) {
        for (const std::size_t place : {std::size_t{0}, std::size_t{30}, std::size_t{4'000}}) {
            const std::string text =
                ended(filled("GET /a HTTP/1.1\r\nX: ", length, filling), place);
            const ParseResult whole = outcomeOf(text);
            for (std::size_t split = 0; split < place + headEnd.size(); split += step) {
                ASSERT_EQ(answerTo(text, split), whole) << length << ' ' << place << ' ' << split;
            }
        }
    });
}

TEST(ViewerHostRequestBoundary, ByteByByteAHeadHasTheSameAnswer) {
    for (std::size_t length = shortest; length <= longest; ++length) {
        const std::string text =
            ended(filled("GET /a HTTP/1.1\r\nX: ", length, 'x'), length - headEnd.size());
        ParseResult answer = ParseResult::incomplete();
        for (std::size_t end = 0; end <= length && answer == ParseResult::incomplete(); ++end) {
            answer = outcomeOf(std::string_view(text).substr(0, end));
        }
        EXPECT_EQ(answer, outcomeOf(text)) << length;
    }
}

}  // namespace
}  // namespace velmora
