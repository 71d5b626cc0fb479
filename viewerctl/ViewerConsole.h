#pragma once

#include <ostream>
#include <string_view>

#include "viewerctl/ViewerLanguage.h"

namespace velmora {

/// How the program ends.
enum class ViewerExit : int { allGood = 0, someFailed = 1, usage = 2 };

/// Where a command speaks to its user. Owned by the program's entry; one thread.
struct ViewerConsole final {
    /// One of two texts in the user's language.
    std::string_view say(std::string_view english, std::string_view russian) const {
        return language.pick(english, russian);
    }
    /// A colour's escape sequence where colours are shown, else nothing.
    std::string_view colour(std::string_view sequence) const {
        return showsColours ? sequence : std::string_view();
    }

    ViewerLanguage language;
    std::ostream& output;
    std::ostream& errors;
    /// Of the output.
    bool isTerminal = false;
    bool showsColours = false;
    /// Whether somebody watches the errors, so that progress is worth telling.
    bool showsProgress = false;
};

}  // namespace velmora
