#include "tests/acceptance/wayland/CapturedNodes.h"

#include <boost/json/parse.hpp>
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

}  // namespace

CapturedNodes CapturedNodes::of(DesktopSession& session) {
    std::optional<boost::json::value> objects;
    session.await("look at PipeWire", [&] {
        objects = dump(session);
        return objects.has_value();
    });
    CapturedNodes seen;
    for (const auto& object : objects->as_array()) {
        const auto type = boost::json::value_to<std::string>(object.at("type"));
        if (type == "PipeWire:Interface:Link") {
            ++seen.links;
        } else if (type == "PipeWire:Interface:Node") {
            ++seen.nodes;
            const auto& state = object.at("info").at("state");
            seen.runningNodes += state == "running" ? 1U : 0U;
        }
    }
    return seen;
}

}  // namespace velmora
