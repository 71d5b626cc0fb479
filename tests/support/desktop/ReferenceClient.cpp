#include "tests/support/desktop/ReferenceClient.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_to.hpp>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/desktop/Conversation.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{60};

SeenStream streamIn(const boost::json::value& told) {
    constexpr int hexadecimal = 16;
    SeenStream stream;
    stream.facts = boost::json::serialize(told.at("facts"));
    stream.width = boost::json::value_to<int>(told.at("width"));
    stream.height = boost::json::value_to<int>(told.at("height"));
    for (const auto& colour : boost::json::value_to<std::vector<std::string>>(told.at("colours"))) {
        stream.colours.push_back(
            static_cast<std::uint32_t>(std::stoul(colour, nullptr, hexadecimal)));
    }
    return stream;
}

}  // namespace

bool SeenStream::isAll(std::uint32_t colour) const {
    return !colours.empty() &&
           std::ranges::all_of(colours, [&](std::uint32_t each) { return each == colour; });
}

std::ostream& operator<<(std::ostream& stream, const SeenStream& seen) {
    stream << seen.width << " x " << seen.height << " of " << std::hex;
    for (const std::uint32_t colour : seen.colours) {
        stream << colour << ' ';
    }
    return stream << std::dec << seen.facts;
}

SeenAnswer askAsAnotherProgram(DesktopSession& session) {
    const std::string name = session.unusedName("reference");
    Conversation conversation(session.runtimeFolder(), name);
    session.start(name,
                  conversation.joinedBy({"/usr/bin/python3", "-W", "ignore", PORTAL_FRAMES_PATH}));
    SeenAnswer answer;
    const auto told = conversation.hear(patience);
    viewerCheck(told.has_value(), "another program sees what a portal grants");
    const boost::json::value all = boost::json::parse(*told);
    for (const auto& stream : all.as_array()) {
        answer.streams.push_back(streamIn(stream));
    }
    answer.status = session.awaitEnd(name);
    return answer;
}

}  // namespace velmora
