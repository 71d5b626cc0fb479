#include "app/ViewerPermissionGate.h"

#include <optional>
#include <string_view>
#include <utility>

#include "app/ViewerAlertCatalogue.h"
#include "core/runtime/ViewerBoundedCall.h"
#include "core/runtime/ViewerOneShot.h"

namespace velmora {

namespace {

constexpr std::string_view settingsPage =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

/// What `call` tells the completion that it is given.
template <typename Call>
ViewerTask<bool> answerOf(Call call) {
    co_return co_await ViewerOneShot<bool>::wait([&](ViewerOneShot<bool> continuation) {
        // A std::function is copied, a continuation is not.
        const auto shared = std::make_shared<ViewerOneShot<bool>>(std::move(continuation));
        call([shared](bool answer) { shared->complete(answer); });
    });
}

/// The answer of a look, or that there is none when it does not come in time.
ViewerTask<ViewerCaptureAccess> look(std::shared_ptr<ViewerScreenCapture> capture,
                                     std::shared_ptr<ViewerContinuousClock> clock) {
    const auto ask = [&capture](ViewerScreenCapture::AccessCompletion completion) {
        capture->lookAtAccess(std::move(completion));
    };
    const auto answer = co_await ViewerBoundedCall<ViewerCaptureAccess>::answer(
        std::move(clock), ViewerScreenCapture::lookLimit, ask);
    co_return answer.value_or(ViewerCaptureAccess::noAnswer);
}

/// Lets the system make its request once the person at the machine has agreed; what comes of it, or
/// nothing when there is no more to be done.
ViewerTask<std::optional<ViewerCaptureAccess>> request(
    std::shared_ptr<ViewerScreenCapture> capture, std::shared_ptr<ViewerAlertPresenter> alerts,
    std::shared_ptr<ViewerContinuousClock> clock, std::shared_ptr<const ViewerTaskHandle> task) {
    const ViewerAlertCatalogue catalogue(alerts->languageCode(), alerts->wording());
    const auto askForConsent = [&](auto completion) {
        alerts->show(catalogue.consent(), completion);
    };
    const bool hasConsent = co_await answerOf(askForConsent);
    if (!hasConsent || task->isCancelled()) {
        co_return std::nullopt;
    }
    const auto askSystem = [&](auto completion) { capture->requestAccess(completion); };
    const bool isGranted = co_await answerOf(askSystem);
    if (isGranted) {
        co_return ViewerCaptureAccess::granted;
    }
    const ViewerCaptureAccess access = co_await look(capture, clock);
    co_return access;
}

}  // namespace

ViewerTask<bool> ViewerPermissionGate::isAllowed(std::shared_ptr<ViewerScreenCapture> capture,
                                                 std::shared_ptr<ViewerAlertPresenter> alerts,
                                                 std::shared_ptr<ViewerContinuousClock> clock,
                                                 std::shared_ptr<const ViewerTaskHandle> task) {
    std::optional<ViewerCaptureAccess> access = co_await look(capture, clock);
    if (access == ViewerCaptureAccess::granted || task->isCancelled()) {
        co_return access == ViewerCaptureAccess::granted;
    }
    alerts->bringToFront();
    if (access == ViewerCaptureAccess::requestable) {
        access = co_await request(capture, alerts, clock, task);
        if (!access || access == ViewerCaptureAccess::granted || task->isCancelled()) {
            co_return access == ViewerCaptureAccess::granted;
        }
    }
    const ViewerAlertCatalogue catalogue(alerts->languageCode(), alerts->wording());
    const ViewerAlert missing = catalogue.permissionMissing(*access);
    const auto tell = [&](auto completion) { alerts->show(missing, completion); };
    const bool isFirstButton = co_await answerOf(tell);
    // A button that is alone is the second one: there is no settings page.
    if (isFirstButton && missing.buttons.size() > 1) {
        alerts->openPage(settingsPage);
    }
    co_return false;
}

}  // namespace velmora
