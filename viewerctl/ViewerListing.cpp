#include <algorithm>
#include <array>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "viewerctl/ViewerListCommand.h"
#include "viewerctl/ViewerTerminalText.h"

namespace velmora::ViewerListing {

namespace {

namespace json = boost::json;

constexpr std::string_view bold = "\033[1m";
constexpr std::string_view red = "\033[31m";
constexpr std::string_view plain = "\033[0m";

/// A longer cell puts its own line out of line and no other.
constexpr std::size_t widestColumn = 40;
/// Host, machine, number, display, size.
constexpr std::size_t alignedColumns = 5;

/// One line of the table: its cells, or what went wrong.
struct Row final {
    /// The columns that are aligned; the id behind them is not.
    std::array<std::string, alignedColumns> cells;
    std::string id;
    std::string_view failure;
    std::string group;
};

std::string sizeOf(const ViewerHostDisplay& display) {
    return std::to_string(display.width) + " × " + std::to_string(display.height);
}

void addRows(std::vector<Row>& rows, const ViewerListedAnswer& answer,
             const ViewerConsole& console) {
    const auto safe = ViewerTerminalText::safe;
    const std::string host = answer.host.address.text();
    const std::string group = safe(answer.host.group);
    if (!answer.outcome) {
        rows.push_back({{host}, "", textOf(answer.outcome.failure(), console.language), group});
        return;
    }
    const std::string machine = safe(answer.outcome->machineName);
    if (answer.outcome->displays.empty()) {
        rows.push_back(
            {{host, machine, "", std::string(console.say("no displays", "нет дисплеев"))},
             "",
             "",
             group});
    }
    std::size_t number = 0;
    for (const ViewerHostDisplay& display : answer.outcome->displays) {
        ++number;
        rows.push_back(
            {{host, machine, std::to_string(number), safe(display.name), sizeOf(display)},
             safe(display.id),
             "",
             group});
    }
}

using Widths = std::array<std::size_t, alignedColumns>;

std::string lineOf(const Row& row, const Widths& widths, const ViewerConsole& console) {
    constexpr std::string_view gap = "  ";
    std::string line;
    if (!row.failure.empty()) {
        line = ViewerTerminalText::padded(row.cells[0], widths[0]) + std::string(gap);
        line.append(console.colour(red)).append(row.failure).append(console.colour(plain));
        return line + "\n";
    }
    for (std::size_t column = 0; column < alignedColumns; ++column) {
        line += ViewerTerminalText::padded(row.cells[column], widths[column]) + std::string(gap);
    }
    line += row.id;
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

json::value valueOf(const ViewerListedAnswer& answer, ViewerLanguage language) {
    json::object host;
    host["host"] = answer.host.address.text();
    if (!answer.host.group.empty()) {
        host["group"] = answer.host.group;
    }
    if (!answer.outcome) {
        json::object error;
        error["reason"] = json::string_view(wordOf(answer.outcome.failure()));
        error["text"] = json::string_view(textOf(answer.outcome.failure(), language));
        host["error"] = std::move(error);
        return host;
    }
    host["machineName"] = answer.outcome->machineName;
    json::array displays;
    for (const ViewerHostDisplay& display : answer.outcome->displays) {
        json::object object;
        object["id"] = display.id;
        object["name"] = display.name;
        object["width"] = display.width;
        object["height"] = display.height;
        displays.push_back(std::move(object));
    }
    host["displays"] = std::move(displays);
    return host;
}

}  // namespace

std::string table(const std::vector<ViewerListedAnswer>& answers, const ViewerConsole& console) {
    const auto say = [&](std::string_view english, std::string_view russian) {
        return std::string(console.say(english, russian));
    };
    const Row head{{say("HOST", "ХОСТ"), say("MACHINE", "МАШИНА"), "№", say("DISPLAY", "ДИСПЛЕЙ"),
                    say("SIZE", "РАЗМЕР")},
                   "ID",
                   "",
                   ""};
    std::vector<Row> rows{head};
    for (const ViewerListedAnswer& answer : answers) {
        addRows(rows, answer, console);
    }
    Widths widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < alignedColumns; ++column) {
            const std::size_t width = ViewerTerminalText::columns(row.cells[column]);
            widths[column] = std::max(widths[column], std::min(width, widestColumn));
        }
    }
    std::string text(console.colour(bold));
    text += lineOf(rows.front(), widths, console);
    text.append(console.colour(plain));
    std::string group;
    for (auto row = rows.begin() + 1; row != rows.end(); ++row) {
        if (row->group != group) {
            group = row->group;
            text += "\n" + (group.empty() ? "" : group + ":\n");
        }
        text += lineOf(*row, widths, console);
    }
    return text;
}

std::string json(const std::vector<ViewerListedAnswer>& answers, ViewerLanguage language) {
    json::array hosts;
    for (const ViewerListedAnswer& answer : answers) {
        hosts.push_back(valueOf(answer, language));
    }
    return ViewerTerminalText::safeJSON(json::serialize(hosts)) + "\n";
}

}  // namespace velmora::ViewerListing
