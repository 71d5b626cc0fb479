#include "viewerctl/ViewerWatchScreen.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include "viewerctl/ViewerWatchText.h"

namespace velmora {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int titleRows = 1;
/// The status and the keys.
constexpr int rowsBelow = 2;
/// How long ages stand still.
constexpr std::chrono::seconds betweenRefreshes{1};

/// Terminals that know synchronized output show all of it at once.
constexpr std::string_view beginUpdate = "\033[?2026h";
constexpr std::string_view endUpdate = "\033[?2026l";

int rowsOfPicture(const ViewerTerminalSize& size) {
    return size.rows - titleRows - rowsBelow;
}

std::string line(int row, std::string_view style, const std::string& text) {
    return "\033[" + std::to_string(row) + ";1H\033[0m" + std::string(style) + text +
           "\033[0m\033[K";
}

}  // namespace

ViewerWatchScreen::ViewerWatchScreen(boost::asio::io_context& loop, ViewerTerminal& terminal,
                                     ViewerWatchedHost& host, const ViewerConsole& console,
                                     std::optional<ViewerPictureFormat> format)
    : terminal_(terminal), host_(host), console_(console), drawer_(loop, format), bell_(loop) {}

void ViewerWatchScreen::repaint() {
    shown_.reset();
    isInterrupted_ = true;
    bell_.ring();
}

void ViewerWatchScreen::stop() {
    isStopped_ = true;
    drawer_.stop();
    bell_.ring();
}

/// Without a picture's number where there is none to show.
ViewerWatchScreen::Subject ViewerWatchScreen::subject() {
    const ViewerWatchState& state = host_.state();
    Subject subject;
    subject.choice = state.choice();
    subject.size = terminal_.size();
    const auto& trouble = state.trouble();
    const bool isBad = trouble && trouble->failure == ViewerFailure::badPicture;
    if (state.frame() && !isBad && rowsOfPicture(subject.size) > 0) {
        subject.picture = state.pictureNumber();
        subject.isDimmed = trouble.has_value();
    }
    return subject;
}

ViewerTask<void> ViewerWatchScreen::draw(Subject subject) {
    ViewerTerminalSize area = subject.size;
    area.rows = rowsOfPicture(area);
    ViewerPictureDrawer::Request request{host_.state().frame()->jpeg, area, titleRows + 1,
                                         subject.isDimmed};
    auto drawn = co_await drawer_.draw(std::move(request));
    if (drawn) {
        drawn_ = std::move(*drawn);
        drawnSubject_ = subject;
    } else if (!isStopped_) {
        host_.state().noteBadPicture(subject.picture, Clock::now());
    }
}

/// A picture that is no longer the newest is shown nevertheless if it is of the same display: where
/// pictures come faster than they are drawn, none would be otherwise.
ViewerTask<bool> ViewerWatchScreen::show() {
    const Subject now = subject();
    const bool hasPicture = now.picture != 0 && drawnSubject_.picture != 0 &&
                            drawnSubject_.choice == now.choice && drawnSubject_.size == now.size;
    Subject showing = now;
    showing.picture = hasPicture ? drawnSubject_.picture : 0;
    showing.isDimmed = hasPicture && drawnSubject_.isDimmed;
    const bool isClear = shown_ && shown_->size == showing.size &&
                         (shown_->choice == showing.choice || shown_->picture == 0) &&
                         (shown_->picture == 0 || showing.picture != 0);
    auto bytes = std::make_shared<std::string>(beginUpdate);
    if (!isClear) {
        *bytes += "\033[0m\033[2J";
    }
    if (hasPicture && !(shown_ && *shown_ == showing)) {
        *bytes += drawn_;
    }
    *bytes += lines(now.size);
    *bytes += endUpdate;
    shown_ = showing;
    co_return co_await terminal_.send(bytes);
}

std::string ViewerWatchScreen::lines(ViewerTerminalSize size) {
    const ViewerWatchState& state = host_.state();
    const auto columns = static_cast<std::size_t>(size.columns);
    const std::string_view style = state.trouble() ? console_.colour("\033[31;1m") : "";
    const ViewerWatchText::Now now{Clock::now(), std::chrono::system_clock::now()};
    std::string text = line(1, console_.colour("\033[1m"),
                            ViewerWatchText::title(host_.address(), state, console_, columns));
    if (size.rows > 1) {
        text += line(std::max(2, size.rows - 1), style,
                     ViewerWatchText::status(state, host_.isPaused(), console_, now, columns));
    }
    if (size.rows > 2) {
        text +=
            line(size.rows, console_.colour("\033[2m"), ViewerWatchText::keys(console_, columns));
    }
    return text;
}

ViewerTask<void> ViewerWatchScreen::paint() {
    while (!isStopped_) {
        const Subject wanted = subject();
        if (wanted.picture != 0 && !(wanted == drawnSubject_)) {
            co_await draw(wanted);
        }
        if (isStopped_) {
            break;
        }
        if (!terminal_.isTaken()) {
            terminal_.resume();
            shown_.reset();
        }
        isInterrupted_ = false;
        const bool isTaken = co_await show();
        if (!isTaken && !isInterrupted_) {
            break;
        }
        const auto deadline = isTaken ? Clock::now() + betweenRefreshes : Clock::now();
        (void)co_await bell_.wait(deadline);  // shows in any case
    }
}

}  // namespace velmora
