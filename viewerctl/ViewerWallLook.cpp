#include "viewerctl/ViewerWallLook.h"

#include <boost/json/parse.hpp>
#include <boost/json/value.hpp>
#include <boost/system/error_code.hpp>
#include <limits>
#include <utility>

namespace velmora::ViewerWallLook {

namespace {

namespace json = boost::json;

std::optional<std::pair<std::uint32_t, std::chrono::milliseconds>> pairOf(
    const json::value& value) {
    const json::array* const pair = value.if_array();
    const bool hasNumbers =
        pair != nullptr && pair->size() == 2 && (*pair)[0].is_int64() && (*pair)[1].is_int64();
    if (!hasNumbers) {
        return std::nullopt;
    }
    const std::int64_t tile = (*pair)[0].get_int64();
    const std::chrono::milliseconds interval((*pair)[1].get_int64());
    if (tile < 0 || tile > std::numeric_limits<std::uint32_t>::max() ||
        interval < shortestInterval || interval > longestInterval) {
        return std::nullopt;
    }
    return std::pair(static_cast<std::uint32_t>(tile), interval);
}

}  // namespace

std::optional<Tiles> parse(std::string_view text) {
    boost::system::error_code error;
    const json::value value = json::parse(text, error);
    const json::object* const object = error ? nullptr : value.if_object();
    if (object == nullptr || object->size() != 2) {
        return std::nullopt;
    }
    const json::value* const kind = object->if_contains("kind");
    const json::value* const list = object->if_contains("tiles");
    if (kind == nullptr || *kind != json::value("look") || list == nullptr || !list->is_array()) {
        return std::nullopt;
    }
    Tiles tiles;
    for (const json::value& each : list->get_array()) {
        const auto pair = pairOf(each);
        if (!pair) {
            return std::nullopt;
        }
        tiles.insert_or_assign(pair->first, pair->second);
    }
    return tiles;
}

}  // namespace velmora::ViewerWallLook
