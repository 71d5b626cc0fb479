#include "viewerctl/ViewerWatchCommand.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <chrono>
#include <csignal>
#include <utility>

#include "viewerctl/ViewerFrameCommand.h"

namespace velmora {

namespace {

/// What a terminal sends for one key comes at once.
constexpr std::chrono::milliseconds withinKey{50};

}  // namespace

ViewerWatchCommand::ViewerWatchCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                                       const ViewerConsole& console, Options options)
    : loop_(loop),
      client_(client),
      console_(console),
      options_(std::move(options)),
      host_(loop, client, options_.host, options_.rate,
            [this](ViewerTask<void> task) { spawn(std::move(task)); }),
      signals_(loop),
      escapeBell_(loop),
      allEnded_(loop) {}

ViewerTask<ViewerExit> ViewerWatchCommand::run() {
    const auto listing = co_await client_.listing(options_.host);
    if (const auto failure = begin(listing)) {
        if (!client_.isStopped()) {
            console_.errors << options_.host.text() << ": " << textOf(*failure, console_.language)
                            << '\n';
        }
        co_return ViewerExit::someFailed;
    }
    co_await watch();
    if (exception_) {
        std::rethrow_exception(exception_);
    }
    const ViewerWatchState& state = host_.state();
    co_return state.trouble() || !state.frame() ? ViewerExit::someFailed : ViewerExit::allGood;
}

std::optional<ViewerFailure> ViewerWatchCommand::begin(
    const ViewerOutcome<ViewerHostDisplayListing>& listing) {
    if (!listing) {
        return listing.failure();
    }
    if (!options_.display.empty()) {
        const auto display = ViewerDisplayChoice::in(*listing, options_.display);
        if (!display) {
            return ViewerFailure::noSuchDisplay;
        }
        host_.state().choose(*display);
    }
    host_.state().noteListing(*listing);
    return std::nullopt;
}

ViewerTask<void> ViewerWatchCommand::watch() {
    if (client_.isStopped()) {
        co_return;
    }
    terminal_.emplace(loop_);
    screen_.emplace(loop_, *terminal_, host_, console_, options_.format);
    host_.atChange([this] { screen_->refresh(); });
    for (const int number : {SIGWINCH, SIGCONT, SIGTSTP}) {
        signals_.add(number);
    }
    client_.atStop([this] { end(); });
    spawn(paint());
    spawn(readKeys());
    spawn(heedEscape());
    spawn(heedSignals());
    spawn(host_.keepPicture());
    spawn(host_.keepListing());
    (void)co_await allEnded_.wait();  // has no deadline of its own
    client_.atStop(nullptr);
    signals_.clear();
    screen_.reset();
    terminal_.reset();
}

void ViewerWatchCommand::spawn(ViewerTask<void> task) {
    ++running_;
    boost::asio::co_spawn(loop_, std::move(task), [this](const std::exception_ptr& exception) {
        if (exception) {
            exception_ = exception;
            client_.stop();
        }
        if (--running_ == 0) {
            allEnded_.set();
        }
    });
}

ViewerTask<void> ViewerWatchCommand::paint() {
    co_await screen_->paint();
    client_.stop();
}

ViewerTask<void> ViewerWatchCommand::readKeys() {
    while (!client_.isStopped()) {
        const std::string bytes = co_await terminal_->read();
        if (bytes.empty()) {
            client_.stop();
        }
        for (const ViewerKey& key : keys_.take(bytes)) {
            obey(key);
        }
        escapeBell_.ring();
    }
}

ViewerTask<void> ViewerWatchCommand::heedEscape() {
    while (!client_.isStopped()) {
        const auto deadline = keys_.isWaiting() ? std::chrono::steady_clock::now() + withinKey
                                                : ViewerBell::TimePoint::max();
        const bool isMoreThere = co_await escapeBell_.wait(deadline);
        if (!isMoreThere) {
            for (const ViewerKey& key : keys_.takeRest()) {
                obey(key);
            }
        }
    }
}

ViewerTask<void> ViewerWatchCommand::heedSignals() {
    boost::system::error_code cancelled;
    while (!client_.isStopped() && !cancelled) {
        const int number = co_await signals_.async_wait(
            boost::asio::redirect_error(boost::asio::use_awaitable, cancelled));
        if (cancelled) {
            continue;
        }
        if (number == SIGTSTP) {
            signals_.remove(SIGTSTP);
            terminal_->suspend();
            signals_.add(SIGTSTP);
        } else if (number == SIGCONT) {
            terminal_->resume();
        }
        screen_->repaint();
    }
}

void ViewerWatchCommand::obey(const ViewerKey& key) {
    const auto chooseIfThere = [this](const std::optional<ViewerHostDisplay>& display) {
        if (display) {
            host_.choose(*display);
        }
    };
    switch (key.wish) {
        case ViewerKey::Wish::next:
            chooseIfThere(host_.state().neighbour(1));
            break;
        case ViewerKey::Wish::previous:
            chooseIfThere(host_.state().neighbour(-1));
            break;
        case ViewerKey::Wish::choose:
            chooseIfThere(host_.state().numbered(key.number));
            break;
        case ViewerKey::Wish::pause:
            host_.togglePause();
            break;
        case ViewerKey::Wish::end:
            client_.stop();
            break;
    }
}

void ViewerWatchCommand::end() {
    terminal_->interrupt();
    signals_.cancel();
    screen_->stop();
    host_.stop();
    escapeBell_.ring();
}

}  // namespace velmora
