#include "viewerctl/ViewerWatchText.h"

#include <array>
#include <cmath>
#include <ctime>

#include "viewerctl/ViewerTerminalText.h"

namespace velmora::ViewerWatchText {

namespace {

constexpr std::string_view separator = " · ";

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) {
        text += text.empty() ? "" : separator;
        text += part;
    }
    return text;
}

/// The time of day, as the user's clock shows it.
std::string clockText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    std::array<char, 16> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%H:%M:%S", &parts);
    return {text.data(), length};
}

std::chrono::seconds sinceThen(std::chrono::steady_clock::time_point then, const Now& now) {
    return std::chrono::floor<std::chrono::seconds>(now.steady - then);
}

std::string troubleText(const ViewerWatchState::Trouble& trouble, const ViewerConsole& console,
                        const Now& now) {
    const auto began = now.wall - std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                      now.steady - trouble.since);
    return std::string(textOf(trouble.failure, console.language)) +
           std::string(console.say(" since ", " с ")) + clockText(began) + " (" +
           duration(sinceThen(trouble.since, now), console) + ")";
}

std::string sameText(const ViewerWatchState& state, const ViewerConsole& console, const Now& now) {
    if (!state.frame()) {
        return std::string(console.say("no picture yet", "изображения ещё нет"));
    }
    const auto age = sinceThen(state.sameSince(), now);
    if (age < std::chrono::seconds(1) && !state.trouble()) {
        return std::string(console.say("new picture", "новое изображение"));
    }
    return std::string(state.trouble()
                           ? console.say("old picture, the same for ", "старое изображение, то же ")
                           : console.say("same picture for ", "то же изображение ")) +
           duration(age, console);
}

std::string rateText(double rate, const ViewerConsole& console) {
    const long tenths = std::lround(rate * 10);
    return std::to_string(tenths / 10) + std::string(console.say(".", ",")) +
           std::to_string(tenths % 10) + std::string(console.say(" pictures/s", " изобр./с"));
}

/// Its number tells the most where there is no room for all of it.
std::string labelText(std::string_view label, std::size_t columns) {
    return label.size() <= columns ? std::string(label)
                                   : "…" + std::string(label.substr(label.rfind('-')));
}

}  // namespace

std::string duration(std::chrono::seconds time, const ViewerConsole& console) {
    constexpr std::chrono::seconds::rep sixty = 60;
    const auto number = [](std::chrono::seconds::rep value) { return std::to_string(value); };
    const std::string seconds(console.say(" s", " с"));
    const std::string minutes(console.say(" min", " мин"));
    const std::string hours(console.say(" h ", " ч "));
    const auto count = time.count();
    if (count < sixty) {
        return number(count) + seconds;
    }
    if (count < sixty * sixty) {
        return number(count / sixty) + minutes + " " + number(count % sixty) + seconds;
    }
    return number(count / sixty / sixty) + hours + number(count / sixty % sixty) + minutes;
}

std::string title(const ViewerHostAddress& host, const ViewerWatchState& state,
                  const ViewerConsole& console, std::size_t columns) {
    std::vector<std::string> parts{host.text(), ViewerTerminalText::safe(state.machineName())};
    if (const auto& display = state.display()) {
        const std::string place = state.number() == 0 ? "?" : std::to_string(state.number());
        parts.push_back(place + "/" + std::to_string(state.displays().size()) + " " +
                        ViewerTerminalText::safe(display->name));
        parts.push_back(std::to_string(display->width) + " × " + std::to_string(display->height));
    } else {
        parts.emplace_back(console.say("it has no display", "дисплеев нет"));
    }
    return ViewerTerminalText::cut(joined(parts), columns);
}

std::string status(const ViewerWatchState& state, bool isPaused, const ViewerConsole& console,
                   Now now, std::size_t columns) {
    std::vector<std::string> parts;
    if (isPaused) {
        parts.emplace_back(console.say("paused", "пауза"));
    }
    if (state.trouble()) {
        parts.push_back(troubleText(*state.trouble(), console, now));
    }
    // One that cannot be shown is not there to be old.
    if (!state.trouble() || state.trouble()->failure != ViewerFailure::badPicture) {
        parts.push_back(sameText(state, console, now));
    }
    parts.push_back(rateText(state.rate(now.steady), console));
    if (state.frame()) {
        const std::size_t taken = ViewerTerminalText::columns(joined(parts) + separator.data());
        parts.push_back(labelText(state.frame()->sequence, columns > taken ? columns - taken : 0));
    }
    return ViewerTerminalText::cut(joined(parts), columns);
}

std::string keys(const ViewerConsole& console, std::size_t columns) {
    return ViewerTerminalText::cut(
        console.say("n, Tab next · p previous · 1–9 display · space pause · q end",
                    "n, Tab следующий · p предыдущий · 1–9 дисплей · пробел пауза · q конец"),
        columns);
}

}  // namespace velmora::ViewerWatchText
