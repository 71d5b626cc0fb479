#include "viewerctl/ViewerAnswerHead.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace velmora {

namespace {

constexpr std::string_view lineEnd = "\r\n";

bool isEqualIgnoringCase(std::string_view a, std::string_view b) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

/// The longest number in front of `text`, of nothing but digits.
template <typename Number>
std::optional<Number> wholeNumber(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && text.front() != '-' ? std::optional(number) : std::nullopt;
}

/// Of "HTTP/1.1 200 OK".
std::optional<int> statusOf(std::string_view line) {
    constexpr std::string_view version = "HTTP/1.1 ";
    constexpr std::size_t digits = 3;
    if (!line.starts_with(version)) {
        return std::nullopt;
    }
    line.remove_prefix(version.size());
    const bool isComplete = line.size() == digits || (line.size() > digits && line[digits] == ' ');
    return isComplete ? wholeNumber<int>(line.substr(0, digits)) : std::nullopt;
}

std::string_view withoutBlanks(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// What the fields of a head say, each of which may come once.
struct Fields final {
    bool take(std::string_view name, std::string_view value) {
        if (isEqualIgnoringCase(name, "Content-Type")) {
            return once(contentType, value);
        }
        if (isEqualIgnoringCase(name, "Content-Length")) {
            return once(contentLength, value);
        }
        if (isEqualIgnoringCase(name, "X-Velmora-Frame")) {
            return once(label, value);
        }
        return !isEqualIgnoringCase(name, "Transfer-Encoding") &&
               !isEqualIgnoringCase(name, "Content-Encoding");
    }

    /// False for a line that is no field, or one that may not be there.
    bool take(std::string_view line) {
        const std::size_t colon = line.find(':');
        const bool isField = colon != std::string_view::npos && colon > 0 &&
                             line.find_first_of(" \t") > colon &&
                             std::none_of(line.begin(), line.end(), [](char character) {
                                 const auto byte = static_cast<unsigned char>(character);
                                 return (byte < ' ' && byte != '\t') || byte == 0x7F;
                             });
        return isField && take(line.substr(0, colon), withoutBlanks(line.substr(colon + 1)));
    }

    std::optional<std::string> contentType;
    std::optional<std::string> contentLength;
    std::optional<std::string> label;

  private:
    static bool once(std::optional<std::string>& field, std::string_view value) {
        const bool isFirst = !field;
        field = value;
        return isFirst;
    }
};

}  // namespace

std::optional<ViewerAnswerHead> ViewerAnswerHead::parse(std::string_view text) {
    if (text.size() > longest) {
        return std::nullopt;
    }
    std::size_t end = text.find(lineEnd);
    const auto status = statusOf(text.substr(0, end));
    if (!status || end == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(end + lineEnd.size());
    Fields fields;
    for (end = text.find(lineEnd); end != 0; end = text.find(lineEnd)) {
        if (end == std::string_view::npos || !fields.take(text.substr(0, end))) {
            return std::nullopt;
        }
        text.remove_prefix(end + lineEnd.size());
    }
    const auto length =
        fields.contentLength ? wholeNumber<std::size_t>(*fields.contentLength) : std::nullopt;
    if (text.size() != lineEnd.size() || !fields.contentType || !length) {
        return std::nullopt;
    }
    ViewerAnswerHead head;
    head.status = *status;
    head.contentType = std::move(*fields.contentType);
    head.contentLength = *length;
    head.label = std::move(fields.label);
    return head;
}

}  // namespace velmora
