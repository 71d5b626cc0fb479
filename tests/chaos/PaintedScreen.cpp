#include "tests/chaos/PaintedScreen.h"

#include <poll.h>

#include <algorithm>

namespace velmora {

namespace {

constexpr int width = 1600;
constexpr int height = 1200;
constexpr int half = 2;

void pause(std::chrono::milliseconds duration) {
    (void)::poll(nullptr, 0, static_cast<int>(duration.count()));  // a signal may cut it short
}

XServer::Options options() {
    XServer::Options options;
    options.width = width;
    options.height = height;
    return options;
}

}  // namespace

PaintedScreen::PaintedScreen()
    : monitors_{{
          {"Red", {0, 0, width / half, height / half}, Hue::red, "screen"},
          {"Green", {width / half, 0, width / half, height / half}, Hue::green, ""},
          {"Blue", {0, height / half, width / half, height / half}, Hue::blue, ""},
          {"Yellow", {width / half, height / half, width / half, height / half}, Hue::yellow, ""},
      }},
      server_(options()) {
    arrange();
}

std::map<std::string, Hue> PaintedScreen::huesByName() const {
    std::map<std::string, Hue> hues;
    for (const Monitor& monitor : monitors_) {
        hues.emplace(monitor.name, monitor.hue);
    }
    return hues;
}

void PaintedScreen::arrange() {
    painter_ = std::make_unique<XPainter>(server_);
    for (Monitor& monitor : monitors_) {
        server_.setMonitor(monitor.name, monitor.place, monitor.output);
        paint(monitor);
    }
}

void PaintedScreen::paint(Monitor& monitor) {
    monitor.shade = (monitor.shade + 1) % shades;
    painter_->fill(monitor.place, colourOf(monitor.hue, monitor.shade));
}

void PaintedScreen::paintFor(std::chrono::milliseconds duration) {
    constexpr std::chrono::milliseconds between{30};
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end) {
        paint(monitors_.at(next_++ % monitors_.size()));
        pause(between);
    }
}

bool PaintedScreen::isShown(ChaosRun& run, AnswerRules& rules) {
    for (Monitor& monitor : monitors_) {
        paint(monitor);
    }
    return isShownUnchanged(run, rules);
}

bool PaintedScreen::isShownUnchanged(ChaosRun& run, AnswerRules& rules) {
    return std::ranges::all_of(monitors_, [&](const Monitor& monitor) {
        return eventually([&] {
            const auto picture = rules.frame(run.idOf(monitor.name));
            return picture && picture->isAll(colourOf(monitor.hue, monitor.shade), jpegTolerance);
        });
    });
}

bool PaintedScreen::freeze(ChaosRun& run, AnswerRules& rules, std::chrono::milliseconds duration) {
    server_.freeze();
    pause(duration);
    server_.thaw();
    return isShown(run, rules);
}

bool PaintedScreen::dieAndComeBack(ChaosRun& run, AnswerRules& rules,
                                   std::chrono::milliseconds away) {
    rules.unsettle();
    painter_.reset();
    if (run.below(2) == 0) {
        server_.freeze();
    }
    server_.kill();
    pause(away);
    server_.restart();
    arrange();
    const bool isListed = eventually([&] { return rules.idsByName().size() == monitors_.size(); });
    const bool isBack = isShown(run, rules);
    rules.settle();
    return isListed && isBack;
}

bool PaintedScreen::changeSize(ChaosRun& run, AnswerRules& rules) {
    constexpr int smaller = 3;
    constexpr std::chrono::milliseconds between{500};
    rules.unsettle();
    server_.setMode("screen", width * 2 / smaller, height * 2 / smaller);
    paintFor(between);
    server_.setMode("screen", width, height);
    const bool isBack = isShown(run, rules);
    rules.settle();
    return isBack;
}

bool PaintedScreen::loseAMonitor(ChaosRun& run, AnswerRules& rules,
                                 std::chrono::milliseconds away) {
    // The first one has the output, which would be a monitor by itself.
    const Monitor& monitor = monitors_.at(1 + run.below(monitors_.size() - 1));
    rules.unsettle();
    server_.deleteMonitor(monitor.name);
    const bool isGone = eventually([&] { return !rules.idsByName().contains(monitor.name); });
    paintFor(away);
    server_.setMonitor(monitor.name, monitor.place, monitor.output);
    const bool isListed = eventually([&] { return rules.idsByName().size() == monitors_.size(); });
    const bool isBack = isShown(run, rules);
    rules.settle();
    return isGone && isListed && isBack;
}

}  // namespace velmora
