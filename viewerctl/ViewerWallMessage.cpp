#include "viewerctl/ViewerWallMessage.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

namespace velmora::ViewerWallMessage {

namespace {

namespace json = boost::json;

json::object object(std::string_view kind) {
    json::object object;
    object["kind"] = json::string_view(kind);
    return object;
}

json::value failureOf(const std::optional<ViewerFailure>& failure) {
    return failure ? json::value(json::string_view(wordOf(*failure))) : json::value(nullptr);
}

double secondsSince(ViewerWallMessage::TimePoint since, ViewerWallMessage::TimePoint now) {
    return std::chrono::duration<double>(
               std::chrono::duration_cast<std::chrono::milliseconds>(now - since))
        .count();
}

std::string_view wordOfState(ViewerTileState state) {
    switch (state) {
        case ViewerTileState::live:
            return "live";
        case ViewerTileState::resting:
            return "resting";
        case ViewerTileState::noPicture:
            return "no-picture";
        case ViewerTileState::failed:
            return "failed";
    }
    return {};
}

void appendNumber(std::string& bytes, std::uint32_t number) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes += static_cast<char>(static_cast<std::uint8_t>(number >> shift));
    }
}

}  // namespace

std::string ofHosts(const Hosts& hosts) {
    json::array list;
    for (std::size_t index = 0; index < hosts.size(); ++index) {
        json::object host;
        host["host"] = index;
        host["address"] = hosts[index]->listed.address.text();
        host["group"] = hosts[index]->listed.group;
        list.push_back(std::move(host));
    }
    json::object message = object("hosts");
    message["version"] = VIEWER_VERSION;
    message["hosts"] = std::move(list);
    return json::serialize(message);
}

std::string ofHost(std::size_t index, const ViewerWallHost& host, const DisplayOf& displayOf,
                   TimePoint now) {
    json::array displays;
    for (const std::uint32_t number : host.tiles) {
        const ViewerHostDisplay& display = displayOf(number).display;
        json::object each;
        each["tile"] = number;
        each["id"] = display.id;
        each["name"] = display.name;
        each["width"] = display.width;
        each["height"] = display.height;
        displays.push_back(std::move(each));
    }
    json::object message = object("host");
    message["host"] = index;
    message["failure"] = failureOf(host.failure);
    message["seconds"] = secondsSince(host.since, now);
    message["machine"] = host.machine;
    message["displays"] = std::move(displays);
    return json::serialize(message);
}

std::string ofTile(const ViewerWallTile& tile, TimePoint now) {
    json::object message = object("tile");
    message["tile"] = tile.number;
    message["state"] = json::string_view(wordOfState(*tile.state));
    message["failure"] = failureOf(tile.failure);
    message["seconds"] = secondsSince(tile.stateSince, now);
    return json::serialize(message);
}

std::string beforePicture(const ViewerWallTile& tile, TimePoint now) {
    const auto age =
        std::chrono::duration_cast<std::chrono::milliseconds>(now - tile.pictureSince).count();
    constexpr std::int64_t longest = std::numeric_limits<std::uint32_t>::max();
    const std::string_view label = tile.picture->sequence;
    std::string bytes;
    appendNumber(bytes, tile.number);
    appendNumber(bytes, static_cast<std::uint32_t>(std::clamp<std::int64_t>(age, 0, longest)));
    bytes += static_cast<char>(static_cast<std::uint8_t>(label.size()));
    bytes += label;
    return bytes;
}

}  // namespace velmora::ViewerWallMessage
