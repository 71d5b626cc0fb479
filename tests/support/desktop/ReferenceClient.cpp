#include "tests/support/desktop/ReferenceClient.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value_to.hpp>
#include <utility>

#include "tests/support/desktop/Conversation.h"

namespace velmora {

namespace {

constexpr std::chrono::milliseconds patience = std::chrono::seconds(45);

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

SeenAnswer askAsAnotherProgram(DesktopSession& session, const std::function<void()>& nudge) {
    constexpr std::chrono::milliseconds betweenNudges{100};
    const std::string name = session.unusedName("reference");
    Conversation conversation(session.runtimeFolder(), name);
    session.start(name,
                  conversation.joinedBy({"/usr/bin/python3", "-W", "ignore", PORTAL_FRAMES_PATH}));
    SeenAnswer answer;
    std::optional<std::string> told;
    for (auto waited = std::chrono::milliseconds::zero(); !told && waited < patience;
         waited += betweenNudges) {
        nudge();
        told = conversation.hear(betweenNudges);
    }
    session.expect(told.has_value(), "another program sees nothing of what is granted");
    const boost::json::value all = boost::json::parse(*told);
    for (const auto& stream : all.as_array()) {
        answer.streams.push_back(streamIn(stream));
    }
    answer.status = session.awaitEnd(name);
    return answer;
}

}  // namespace velmora
