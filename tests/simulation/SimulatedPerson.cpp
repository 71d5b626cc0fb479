#include "tests/simulation/SimulatedPerson.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <csignal>
#include <utility>

#include "app/ViewerAlertCatalogue.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// The last signal comes when everything that a client has in mind is over.
constexpr auto lastSignal = 25s;

const std::string& consentTitle() {
    static const std::string title =
        ViewerAlertCatalogue("en", ViewerAlertWording::mac).consent().title;
    return title;
}

}  // namespace

SimulatedPerson::SimulatedPerson(SimulationCourse& course,
                                 std::shared_ptr<ScriptedApplicationShell> shell,
                                 std::shared_ptr<ScriptedAlertPresenter> alerts,
                                 std::shared_ptr<SimulatedCapture> capture)
    : course_(course),
      shell_(std::move(shell)),
      alerts_(std::move(alerts)),
      capture_(std::move(capture)) {
    alerts_->onShow = [this](const ViewerAlert& alert) { noteAlert(alert); };
}

ViewerTask<void> SimulatedPerson::live(SimulatedPerson* self) {
    SimulationCourse& course = self->course_;
    const auto begin = course.world.now();
    if (!course.isCalm && course.oneIn(2)) {
        (void)co_await course.world.sleep(
            course.anyOf(0s, 1ms, 100ms, 1s, 2s, 4s, 5s, 6s, 9s, 10s, 12s));
        for (std::size_t ends = course.world.choose(3) + 1; ends > 0; --ends) {
            switch (course.world.choose(7)) {
                case 0:
                case 1:
                    self->quit();
                    break;
                case 2:
                    self->endSession();
                    break;
                default:
                    self->raise(course.oneIn(2) ? SIGINT : SIGTERM);
            }
            (void)co_await course.world.sleep(course.anyOf(0s, 1ms, 1s));
        }
    }
    const auto past = course.world.now() - begin;
    (void)co_await course.world.sleep(lastSignal - std::min<SimulationCourse::Duration>(past, 24s));
    self->raise(SIGTERM);
}

void SimulatedPerson::noteAlert(const ViewerAlert& alert) {
    course_.note("an alert shows: #", alert.title);
    course_.tell(&SimulationRule::alertShown, alert.title);
}

bool SimulatedPerson::rested() {
    if (!course_.history.hostEnded && !shell_->ends().empty()) {
        course_.history.hostEnded = course_.note("the host has ended");
    }
    if (planned_ == alerts_->shown().size() || !alerts_->isShowing()) {
        return false;
    }
    planned_ = alerts_->shown().size();
    if (!course_.oneIn(4)) {
        course_.after(course_.anyOf(0s, 1ms, 1s, 10s), [this] {
            boost::asio::post(course_.world.mainExecutor(), [this] { answerAlert(); });
        });
    }
    return true;
}

void SimulatedPerson::answerAlert() {
    if (!alerts_->isShowing() || alerts_->shown().size() != planned_) {
        return;
    }
    const bool isConsent = alerts_->shown().back().title == consentTitle();
    const bool isFirst = isConsent ? !course_.oneIn(4) : course_.oneIn(2);
    const auto moment =
        course_.note("the person presses the # button", isFirst ? "first" : "other");
    if (isConsent && isFirst) {
        course_.history.consentGiven = moment;
    } else {
        course_.history.mustEnd = moment;
        course_.history.isToEnd = true;
        course_.reach(SimulationState::permissionRefused);
    }
    if (std::exchange(quitsBehindAlert_, false)) {
        noteQuit();
    }
    alerts_->press(isFirst ? 0 : 1);
}

void SimulatedPerson::raise(int signal) {
    course_.note("the host is sent #", signal == SIGINT ? "SIGINT" : "SIGTERM");
    const bool isWatched = shell_->liveSignalSources() > 0;
    course_.history.isToEnd = course_.history.isToEnd || isWatched;
    if (course_.history.quit) {
        course_.reach(SimulationState::quitTwice);
    }
    shell_->raise(signal);
    if (isWatched) {
        boost::asio::post(course_.world.mainExecutor(), [this] { noteQuit(); });
    }
}

void SimulatedPerson::quit() {
    course_.note("the person quits the host");
    course_.history.isToEnd = true;
    shell_->quit();
    boost::asio::post(course_.world.mainExecutor(), [this] {
        if (!alerts_->isShowing()) {
            noteQuit();
        } else {
            course_.reach(SimulationState::quitBehindAnAlert);
            quitsBehindAlert_ = true;
        }
    });
}

void SimulatedPerson::endSession() {
    if (capture_->isSessionWatched()) {
        course_.note("the session ends");
        course_.history.isToEnd = true;
        course_.reach(SimulationState::sessionEnded);
        boost::asio::post(course_.world.mainExecutor(), [this] {
            capture_->endSession();
            noteQuit();
        });
    }
}

void SimulatedPerson::noteQuit() {
    SimulationHistory& history = course_.history;
    if (history.quit) {
        return;
    }
    history.quit = course_.note("the host is to end");
    const auto reachIf = [this](bool isReached, SimulationState state) {
        if (isReached) {
            course_.reach(state);
        }
    };
    reachIf(capture_->isLooking() && !history.granted, SimulationState::quitDuringLook);
    reachIf(capture_->isRequesting(), SimulationState::quitDuringRequest);
    const bool isAsked =
        !alerts_->shown().empty() && alerts_->shown().back().title == consentTitle();
    reachIf(isAsked && !history.consentGiven && !history.mustEnd,
            SimulationState::quitDuringConsent);
    reachIf(history.granted && !history.listenerReady && !history.listenerFailed,
            SimulationState::quitBeforeReady);
    reachIf(std::ranges::any_of(history.served, &ConnectionHistory::isRouted),
            SimulationState::quitWhileRouting);
    reachIf(std::ranges::any_of(history.streams,
                                [](const StreamHistory& stream) {
                                    return stream.startAsked && !stream.startAnswered;
                                }),
            SimulationState::quitDuringStreamStart);
}

}  // namespace velmora
