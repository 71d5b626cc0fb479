#include "tests/support/app/ScriptedApplicationShell.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <csignal>
#include <cstdlib>
#include <utility>

namespace velmora {

namespace {

std::string nameOf(int signal) {
    return signal == SIGINT ? "SIGINT" : "SIGTERM";
}

}  // namespace

struct ScriptedApplicationShell::Source final : ViewerSignalSource {
    Source(int watchedSignal, std::function<void()> signalHandler)
        : signal(watchedSignal), handler(std::move(signalHandler)) {}
    void cancel() override { isCancelled = true; }

    const int signal;
    const std::function<void()> handler;
    bool isCancelled = false;
};

void ScriptedApplicationShell::launch(std::shared_ptr<ViewerApplicationDelegate> delegate) {
    delegate_ = delegate;
    boost::asio::post(world_.mainExecutor(),
                      [delegate] { delegate->applicationDidFinishLaunching(); });
}

void ScriptedApplicationShell::raise(int signal) {
    for (const auto& source : sources_) {
        boost::asio::post(world_.mainExecutor(), [source, signal] {
            if (!source->isCancelled && source->signal == signal) {
                source->handler();
            }
        });
    }
}

void ScriptedApplicationShell::quit() {
    boost::asio::post(world_.mainExecutor(), [this] { terminate(); });
}

std::size_t ScriptedApplicationShell::liveSignalSources() const {
    return static_cast<std::size_t>(std::ranges::count(sources_, false, &Source::isCancelled));
}

void ScriptedApplicationShell::ignoreSignal(int signal) {
    calls_->push_back("ignore " + nameOf(signal));
}

std::shared_ptr<ViewerSignalSource> ScriptedApplicationShell::makeSignalSource(
    int signal, std::function<void()> handler) {
    calls_->push_back("watch " + nameOf(signal));
    const auto source = std::make_shared<Source>(signal, std::move(handler));
    sources_.push_back(source);
    return source;
}

int ScriptedApplicationShell::run(std::shared_ptr<ViewerApplicationDelegate> delegate) {
    calls_->emplace_back("run");
    launch(std::move(delegate));
    world_.runToEnd();
    return EXIT_SUCCESS;
}

void ScriptedApplicationShell::terminate() {
    alerts_->whenClosed([this] {
        ++terminationRequests_;
        // An application that has ended asks nobody any more.
        const auto delegate = ends_.empty() ? delegate_.lock() : nullptr;
        if (delegate && delegate->applicationShouldTerminate() == ViewerTerminateReply::now) {
            ends_.push_back(world_.now());
        }
    });
}

void ScriptedApplicationShell::exit(int) {
    std::abort();
}

std::optional<std::string> ScriptedApplicationShell::machineName() {
    calls_->emplace_back("machine name");
    return name;
}

void ScriptedApplicationShell::printLine(std::string_view line) {
    lines_.emplace_back(line);
}

}  // namespace velmora
