#include "core/protocol/ViewerUTF8.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora {
namespace {

using namespace std::string_view_literals;

/// The UTF-8 of a code point in the length its value asks for, surrogates too.
std::string encoded(unsigned codePoint) {
    const auto tail = [codePoint](unsigned shift) {
        return static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
    };
    if (codePoint < 0x80) {
        return {static_cast<char>(codePoint)};
    }
    if (codePoint < 0x800) {
        return {static_cast<char>(0xC0U | (codePoint >> 6U)), tail(0)};
    }
    if (codePoint < 0x10000) {
        return {static_cast<char>(0xE0U | (codePoint >> 12U)), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0U | (codePoint >> 18U)), tail(12), tail(6), tail(0)};
}

TEST(ViewerUTF8, EveryCodePointButTheSurrogatesIsValid) {
    for (unsigned codePoint = 0; codePoint < 0x120000; ++codePoint) {
        const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
        const bool isCodePoint = codePoint <= 0x10FFFF;
        ASSERT_EQ(ViewerUTF8::isValid(encoded(codePoint)), isCodePoint && !isSurrogate)
            << codePoint;
    }
}

TEST(ViewerUTF8, ValidTextIsLeftAsItIs) {
    for (const auto text : {""sv, "plain"sv, "\0"sv, "Экран é \U0001F5A5 \U0010FFFF"sv}) {
        EXPECT_TRUE(ViewerUTF8::isValid(text));
        EXPECT_EQ(ViewerUTF8::repaired(text), text);
    }
}

TEST(ViewerUTF8, EachLongestStartOfASequenceBecomesOneReplacement) {
    const std::vector<std::pair<std::string_view, std::string_view>> repairs{
        // The standard's examples of substitution, section 3.9, tables 3-8 to 3-11.
        {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41"sv,
         "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
        {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41"sv,
         "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
        {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"sv,
         "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB"sv},
        {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41"sv, "\uFFFD\uFFFD\uFFFD\uFFFDA"sv},
        // Sequences that the end of the text cuts off.
        {"a\xC3"sv, "a\uFFFD"sv},
        {"a\xE2\x82"sv, "a\uFFFD"sv},
        {"a\xF0\x9F\x96"sv, "a\uFFFD"sv},
        // Bytes that start nothing.
        {"\xC1\xF5\xFF\x80"sv, "\uFFFD\uFFFD\uFFFD\uFFFD"sv},
        // A good sequence right behind a broken one.
        {"\xE2\xC3\xA9"sv, "\uFFFDé"sv},
        {"\xF0\x9F\xC3\xA9"sv, "\uFFFDé"sv}};
    for (const auto& [broken, repaired] : repairs) {
        SCOPED_TRACE(repaired);
        EXPECT_FALSE(ViewerUTF8::isValid(broken));
        EXPECT_EQ(ViewerUTF8::repaired(broken), repaired);
        EXPECT_TRUE(ViewerUTF8::isValid(repaired));
    }
}

TEST(ViewerUTF8, EverySecondByteOutsideItsRangeIsRefused) {
    const auto isLegalSecond = [](int lead, int second) {
        const int lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
        const int highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        return lead >= 0xC2 && lead <= 0xF4 && second >= lowest && second <= highest;
    };
    for (int lead = 0x80; lead <= 0xFF; ++lead) {
        for (int second = 0; second <= 0xFF; ++second) {
            const std::size_t tail = lead < 0xE0 ? 0 : lead < 0xF0 ? 1 : 2;
            const std::string sequence =
                std::string{static_cast<char>(lead), static_cast<char>(second)} +
                std::string(tail, '\x80');
            ASSERT_EQ(ViewerUTF8::isValid(sequence), isLegalSecond(lead, second))
                << lead << ' ' << second;
        }
    }
}

}  // namespace
}  // namespace velmora
