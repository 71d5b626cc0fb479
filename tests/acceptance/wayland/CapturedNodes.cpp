#include "tests/acceptance/wayland/CapturedNodes.h"

#include <boost/json/parse.hpp>
#include <boost/json/value_to.hpp>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace velmora {

CapturedNodes CapturedNodes::of(DesktopSession& session) {
    const std::string name = session.unusedName("dump");
    const auto file = session.runtimeFolder() / name;
    session.start(name, {"sh", "-c", "exec pw-dump >" + file.string()});
    (void)session.awaitEnd(name);  // what it wrote tells
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    const boost::json::value dump = boost::json::parse(text.str());
    CapturedNodes seen;
    for (const auto& object : dump.as_array()) {
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
