// Percent-decoding yields valid UTF-8 or nothing, and undoes every way of escaping a text.
#include <boost/json/parse.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/protocol/ViewerPercentDecoding.h"
#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

constexpr std::string_view digits = "0123456789abcdefABCDEF";

/// `text` with every percent sign escaped, and every byte whose bit is set in `pattern`.
std::string escaped(std::string_view text, std::uint8_t pattern) {
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<std::uint8_t>(text[index]);
        if (text[index] != '%' && ((pattern >> (index % 8)) & 1) == 0) {
            result.push_back(text[index]);
            continue;
        }
        const std::size_t low = byte & 0xFU;
        result.push_back('%');
        result.push_back(digits[byte >> 4U]);
        result.push_back(digits[low >= 10 && pattern % 2 == 1 ? low + 6 : low]);
    }
    return result;
}

/// Whether another library takes the text for UTF-8.
bool isUTF8ElseWhere(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        // What JSON treats specially is as good as any other ASCII character here.
        const bool isSpecial =
            static_cast<std::uint8_t>(character) < 0x20 || character == '"' || character == '\\';
        quoted.push_back(isSpecial ? 'x' : character);
    }
    quoted.push_back('"');
    boost::system::error_code error;
    (void)boost::json::parse(quoted, error);  // only the error counts
    return !error;
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    // The text lies in memory of exactly its length.
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const bool isValid = ViewerUTF8::isValid(text);
    viewerCheck(isValid == isUTF8ElseWhere(text), "UTF-8 is what it is elsewhere");
    const std::string repaired = ViewerUTF8::repaired(text);
    viewerCheck(isUTF8ElseWhere(repaired), "a repaired text is UTF-8");
    viewerCheck((repaired == text) == isValid, "only a broken text is repaired");

    const std::optional<ViewerText> decoded = percentDecoded(text);
    if (decoded) {
        viewerCheck(isUTF8ElseWhere(*decoded), "a decoded text is UTF-8");
        viewerCheck(decoded->size() <= text.size(), "decoding adds nothing");
        viewerCheck(text.find('%') != std::string::npos || *decoded == text,
                    "without escapes nothing changes");
    }
    const auto pattern = static_cast<std::uint8_t>(size == 0 ? 0 : bytes[size - 1]);
    const std::optional<ViewerText> back = percentDecoded(escaped(text, pattern));
    viewerCheck(back == (isValid ? std::optional<ViewerText>(text) : std::nullopt),
                "decoding undoes escaping, and refuses what is not UTF-8");
    return 0;
}
