#include "tests/mac/frameworks/application/ApplicationScript.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"
#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {

namespace {

/// Takes the first and runs it; false when there is none.
template <typename Functions>
bool runFirst(Functions& functions) {
    if (functions.empty()) {
        return false;
    }
    const auto first = std::move(functions.front());
    functions.pop_front();
    const bridge::AutoreleasePool pool;
    first();
    return true;
}

}  // namespace

ApplicationScript& ApplicationScript::shared() {
    static ApplicationScript script;
    return script;
}

void ApplicationScript::runPerformed() {
    DispatchWorld::shared().settle();
    while (runFirst(performed)) {
        DispatchWorld::shared().settle();
    }
}

void ApplicationScript::runApplication() {
    isTerminated = false;
    while (true) {
        runPerformed();
        if (isTerminated) {
            return;
        }
        if (runFirst(whenIdle)) {
            continue;
        }
        if (waitForMore) {
            const bridge::AutoreleasePool pool;
            waitForMore();
        } else {
            ADD_FAILURE() << "the application would run for ever";
            return;
        }
    }
}

long ApplicationScript::runModal(const Alert& alert) {
    alerts.push_back(alert);
    stopCode = std::nullopt;
    hasEvent = false;
    if (answers.empty()) {
        ADD_FAILURE() << "nobody is there to answer the alert: " << alert.message;
        return secondButton;
    }
    isModal = true;
    // The main queue goes on unless the alert stands in one of its own functions.
    DispatchWorld::shared().settleInside();
    const WhileAlertShows answer = std::move(answers.front());
    answers.pop_front();
    const long button = answer();
    DispatchWorld::shared().settleInside();
    isModal = false;
    if (stopCode && hasEvent) {
        return *stopCode;
    }
    EXPECT_NE(button, noButton) << "the alert would show for ever: " << alert.message;
    return button;
}

void ApplicationScript::stopModal(long code) {
    stopCode = code;
}

}  // namespace velmora
