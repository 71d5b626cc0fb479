#include "viewerctl/ViewerFinding.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "viewerctl/ViewerTerminalText.h"

namespace velmora::ViewerFindings {

namespace {

/// How a state is told: to programs, and to people with a sign and its colour.
struct Sign final {
    const char* word;
    std::string_view sign;
    std::string_view colour;
};

Sign signOf(ViewerFinding::State state) {
    switch (state) {
        case ViewerFinding::State::good:
            return {"good", "✓", "\033[32m"};
        case ViewerFinding::State::note:
            return {"note", "•", "\033[33m"};
        case ViewerFinding::State::bad:
            return {"bad", "✗", "\033[31m"};
    }
    return {"", "", ""};
}

}  // namespace

std::string table(const std::vector<ViewerFinding>& findings, const ViewerConsole& console) {
    std::size_t width = 0;
    for (const ViewerFinding& finding : findings) {
        width = std::max(width, ViewerTerminalText::columns(finding.title));
    }
    std::string text;
    for (const ViewerFinding& finding : findings) {
        const Sign sign = signOf(finding.state);
        text.append(console.colour(sign.colour)).append(sign.sign);
        text.append(console.colour("\033[0m")).append(" ");
        text += ViewerTerminalText::padded(finding.title, width) + "  ";
        text += ViewerTerminalText::safe(finding.text) + "\n";
        if (!finding.advice.empty()) {
            text += std::string(width + 4, ' ') + "→ " + finding.advice + "\n";
        }
    }
    return text;
}

std::string json(const std::vector<ViewerFinding>& findings) {
    boost::json::array array;
    for (const ViewerFinding& finding : findings) {
        boost::json::object object;
        object["state"] = signOf(finding.state).word;
        object["what"] = finding.word;
        object["text"] = finding.text;
        if (!finding.advice.empty()) {
            object["advice"] = finding.advice;
        }
        array.push_back(std::move(object));
    }
    return ViewerTerminalText::safeJSON(boost::json::serialize(array)) + "\n";
}

ViewerExit exitOf(const std::vector<ViewerFinding>& findings) {
    const bool isBad = std::any_of(findings.begin(), findings.end(), [](const auto& finding) {
        return finding.state == ViewerFinding::State::bad;
    });
    return isBad ? ViewerExit::someFailed : ViewerExit::allGood;
}

}  // namespace velmora::ViewerFindings
