#include "tests/acceptance/wayland/CapturedNodes.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_to.hpp>
#include <boost/system/error_code.hpp>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

namespace velmora {

namespace {

constexpr const char* linkType = "PipeWire:Interface:Link";
constexpr const char* nodeType = "PipeWire:Interface:Node";

/// All objects as PipeWire's own tool writes them; nothing when some changed meanwhile, of which it
/// tells behind them.
std::optional<boost::json::value> dump(DesktopSession& session) {
    const std::string name = session.unusedName("dump");
    const auto file = session.runtimeFolder() / name;
    session.start(name, {"sh", "-c", "exec pw-dump >" + file.string()});
    (void)session.awaitEnd(name);  // what it wrote tells
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    boost::system::error_code error;
    boost::json::value objects = boost::json::parse(text.str(), error);
    return error ? std::nullopt : std::optional(std::move(objects));
}

boost::json::array objectsOf(DesktopSession& session) {
    std::optional<boost::json::value> objects;
    session.await("look at PipeWire", [&] {
        objects = dump(session);
        return objects.has_value();
    });
    return objects->as_array();
}

std::string typeOf(const boost::json::value& object) {
    return boost::json::value_to<std::string>(object.at("type"));
}

}  // namespace

CapturedNodes CapturedNodes::of(DesktopSession& session) {
    CapturedNodes seen;
    for (const auto& object : objectsOf(session)) {
        const std::string type = typeOf(object);
        if (type == linkType) {
            ++seen.links;
        } else if (type == nodeType) {
            ++seen.nodes;
            const auto& info = object.at("info").as_object();
            seen.runningNodes += info.at("state") == "running" ? 1U : 0U;
            const auto& properties = info.at("props").as_object();
            const auto* const isBound = properties.if_contains("node.dont-reconnect");
            seen.boundNodes +=
                isBound != nullptr && *isBound == true && properties.contains("target.object") ? 1U
                                                                                               : 0U;
        }
    }
    return seen;
}

void CapturedNodes::unlink(DesktopSession& session) {
    for (const auto& object : objectsOf(session)) {
        if (typeOf(object) == linkType) {
            const std::string name = session.unusedName("unlink");
            session.start(name, {"pw-cli", "destroy", boost::json::serialize(object.at("id"))});
            (void)session.awaitEnd(name);  // it may have gone by itself
        }
    }
}

}  // namespace velmora
