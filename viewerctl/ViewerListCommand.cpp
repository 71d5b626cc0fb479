#include "viewerctl/ViewerListCommand.h"

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <utility>

namespace velmora {

ViewerListCommand::ViewerListCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                                     const ViewerConsole& console,
                                     std::vector<ViewerListedHost> hosts, bool isForPrograms)
    : loop_(loop),
      client_(client),
      console_(console),
      isForPrograms_(isForPrograms),
      allAnswered_(loop) {
    for (ViewerListedHost& host : hosts) {
        answers_.push_back({std::move(host), ViewerFailure::interrupted});
    }
}

ViewerTask<ViewerExit> ViewerListCommand::run() {
    for (std::size_t index = 0; index < answers_.size(); ++index) {
        boost::asio::co_spawn(loop_, ask(index), boost::asio::detached);
    }
    (void)co_await allAnswered_.wait();  // has no deadline of its own
    if (!client_.isStopped()) {
        show();
    }
    const bool isGood =
        std::all_of(answers_.begin(), answers_.end(),
                    [](const ViewerListedAnswer& answer) { return bool(answer.outcome); });
    co_return isGood ? ViewerExit::allGood : ViewerExit::someFailed;
}

ViewerTask<void> ViewerListCommand::ask(std::size_t index) {
    answers_[index].outcome = co_await client_.listing(answers_[index].host.address);
    noteAnswer();
}

void ViewerListCommand::noteAnswer() {
    ++answered_;
    if (console_.showsProgress && answers_.size() > 1) {
        console_.errors << '\r' << answered_ << console_.say(" of ", " из ") << answers_.size()
                        << "\033[K" << (answered_ == answers_.size() ? "\r\033[K" : "")
                        << std::flush;
    }
    if (answered_ == answers_.size()) {
        allAnswered_.set();
    }
}

void ViewerListCommand::show() const {
    console_.output << (isForPrograms_ ? ViewerListing::json(answers_, console_.language)
                                       : ViewerListing::table(answers_, console_));
}

}  // namespace velmora
