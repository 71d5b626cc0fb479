#include "tests/support/desktop/WaylandPainter.h"

#include <sstream>

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};
/// More than any output has.
constexpr std::int64_t everything = 100'000;

std::string placed(const std::string& verb, const ViewerRectangle& part) {
    std::ostringstream text;
    text << verb << ' ' << part.x << ' ' << part.y << ' ' << part.width << ' ' << part.height;
    return text.str();
}

std::string filling(const ViewerRectangle& part, std::uint32_t colour) {
    std::ostringstream text;
    text << placed("fill", part) << ' ' << std::hex << colour;
    return text.str();
}

}  // namespace

WaylandPainter::WaylandPainter(DesktopSession& session, const std::string& output,
                               std::uint32_t colour)
    : session_(session) {
    const std::string name = "painter-" + output;
    conversation_ = std::make_unique<Conversation>(session.runtimeFolder(), name);
    session.start(name, conversation_->joinedBy({WAYLAND_PAINTER_PATH, output}));
    fill(colour);
}

void WaylandPainter::fill(std::uint32_t colour) {
    fill({0, 0, everything, everything}, colour);
}

void WaylandPainter::fill(const ViewerRectangle& part, std::uint32_t colour) {
    lastFill_ = filling(part, colour);
    paint(lastFill_);
}

void WaylandPainter::repeat() {
    paint(lastFill_);
}

void WaylandPainter::show(const std::string& file) {
    paint("image " + file);
}

void WaylandPainter::move(const ViewerRectangle& part) {
    paint(placed("move", part));
}

void WaylandPainter::rest() {
    paint("rest");
}

void WaylandPainter::paint(const std::string& command) {
    conversation_->say(command);
    session_.expect(conversation_->hear(patience) == "done", "a painter does not paint its output");
}

}  // namespace velmora
