#pragma once

#include <string>
#include <vector>

#include "viewerctl/ViewerConsole.h"

namespace velmora {

/// One thing that was looked at, and what to do about it. A plain value.
struct ViewerFinding final {
    enum class State { good, note, bad };

    State state = State::good;
    /// One word for programs, the same in every language.
    std::string word;
    /// What was looked at, for people.
    std::string title;
    /// What was found.
    std::string text;
    /// What to do; empty where there is nothing to do.
    std::string advice;
};

/// The ways to show findings.
namespace ViewerFindings {

/// A line for each, below it what to do.
std::string table(const std::vector<ViewerFinding>& findings, const ViewerConsole& console);
std::string json(const std::vector<ViewerFinding>& findings);
/// Whether something has to be done.
ViewerExit exitOf(const std::vector<ViewerFinding>& findings);

}  // namespace ViewerFindings

}  // namespace velmora
