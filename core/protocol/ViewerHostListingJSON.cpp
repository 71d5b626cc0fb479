#include "core/protocol/ViewerHostListingJSON.h"

#include <array>
#include <boost/json/parse.hpp>
#include <boost/json/serializer.hpp>
#include <boost/json/value.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/protocol/ViewerUTF8.h"

namespace velmora::ViewerHostListingJSON {

namespace {

namespace json = boost::json;

/// Enough for a listing of a few displays, so that it is normally written without growing, in
/// bytes.
constexpr std::size_t expectedLength = 1024;

/// Writes JSON piece by piece. Boost.JSON escapes the texts; building its tree of values first
/// would double the cost of a listing.
class Writer final {
  public:
    Writer() { bytes_.reserve(expectedLength); }

    /// Punctuation and member names, as they are.
    Writer& raw(std::string_view text) {
        bytes_.insert(bytes_.end(), text.begin(), text.end());
        return *this;
    }

    Writer& text(std::string_view text) {
        if (ViewerUTF8::isValid(text)) {
            return validText(text);
        }
        return validText(ViewerUTF8::repaired(text));
    }

    Writer& number(std::int64_t number) { return raw(std::to_string(number)); }

    Writer& display(const ViewerHostDisplay& display) {
        raw(R"({"id":)").text(display.id);
        raw(R"(,"name":)").text(display.name);
        raw(R"(,"width":)").number(display.width);
        return raw(R"(,"height":)").number(display.height).raw("}");
    }

    ViewerBytes finish() { return ViewerBytes(std::move(bytes_)); }

  private:
    Writer& validText(std::string_view text) {
        std::array<char, 256> part;
        serializer_.reset(json::string_view(text));
        while (!serializer_.done()) {
            raw(serializer_.read(part.data(), part.size()));
        }
        return *this;
    }

    std::vector<std::uint8_t> bytes_;
    json::serializer serializer_;
};

/// Null when the text is not one JSON value.
json::value parsed(std::string_view text) {
    boost::system::error_code error;
    return json::parse(text, error);
}

std::optional<std::string> textMember(const json::object& object, std::string_view name) {
    const json::value* value = object.if_contains(name);
    const json::string* text = value != nullptr ? value->if_string() : nullptr;
    return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::int64_t> integerMember(const json::object& object, std::string_view name) {
    const json::value* value = object.if_contains(name);
    if (value == nullptr) {
        return std::nullopt;
    }
    boost::system::error_code error;
    const auto number = value->to_number<std::int64_t>(error);
    return error ? std::nullopt : std::optional(number);
}

std::optional<ViewerHostDisplay> displayOf(const json::value& value) {
    const json::object* object = value.if_object();
    if (object == nullptr) {
        return std::nullopt;
    }
    auto id = textMember(*object, "id");
    auto name = textMember(*object, "name");
    const auto width = integerMember(*object, "width");
    const auto height = integerMember(*object, "height");
    if (!id || !name || !width || !height) {
        return std::nullopt;
    }
    return ViewerHostDisplay(std::move(*id), std::move(*name), *width, *height);
}

std::optional<std::vector<ViewerHostDisplay>> displaysMember(const json::object& object) {
    const json::value* value = object.if_contains("displays");
    const json::array* array = value != nullptr ? value->if_array() : nullptr;
    if (array == nullptr) {
        return std::nullopt;
    }
    std::vector<ViewerHostDisplay> displays;
    for (const json::value& element : *array) {
        auto display = displayOf(element);
        if (!display) {
            return std::nullopt;
        }
        displays.push_back(std::move(*display));
    }
    return displays;
}

}  // namespace

ViewerBytes encode(const ViewerHostDisplay& display) {
    return Writer().display(display).finish();
}

ViewerBytes encode(const ViewerHostDisplayListing& listing) {
    Writer writer;
    writer.raw(R"({"protocol":)").text(listing.protocol);
    writer.raw(R"(,"version":)").number(listing.version);
    writer.raw(R"(,"machineName":)").text(listing.machineName);
    writer.raw(R"(,"displays":[)");
    std::string_view separator;
    for (const ViewerHostDisplay& display : listing.displays) {
        writer.raw(separator).display(display);
        separator = ",";
    }
    return writer.raw("]}").finish();
}

std::optional<ViewerHostDisplay> decodeDisplay(std::string_view text) {
    return displayOf(parsed(text));
}

std::optional<ViewerHostDisplayListing> decodeListing(std::string_view text) {
    const json::value value = parsed(text);
    const json::object* object = value.if_object();
    if (object == nullptr) {
        return std::nullopt;
    }
    auto protocol = textMember(*object, "protocol");
    const auto version = integerMember(*object, "version");
    auto machineName = textMember(*object, "machineName");
    auto displays = displaysMember(*object);
    if (!protocol || !version || !machineName || !displays) {
        return std::nullopt;
    }
    return ViewerHostDisplayListing(std::move(*protocol), *version, std::move(*machineName),
                                    std::move(*displays));
}

}  // namespace velmora::ViewerHostListingJSON
