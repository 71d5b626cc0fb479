#include "app/ViewerPermissionGate.h"

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

/// The answer of a look, or no when it does not come in time.
ViewerTask<bool> look(std::shared_ptr<ViewerScreenCapture> capture,
                      std::shared_ptr<ViewerContinuousClock> clock) {
    const auto ask = [&capture](ViewerScreenCapture::AccessCompletion completion) {
        capture->lookAtAccess(std::move(completion));
    };
    const auto answer = co_await ViewerBoundedCall<bool>::answer(
        std::move(clock), ViewerScreenCapture::lookLimit, ask);
    co_return answer.value_or(false);
}

}  // namespace

ViewerTask<bool> ViewerPermissionGate::isAllowed(std::shared_ptr<ViewerScreenCapture> capture,
                                                 std::shared_ptr<ViewerAlertPresenter> alerts,
                                                 std::shared_ptr<ViewerContinuousClock> clock,
                                                 std::shared_ptr<const ViewerTaskHandle> task) {
    bool isGranted = co_await look(capture, clock);
    if (isGranted || task->isCancelled()) {
        co_return isGranted;
    }
    alerts->bringToFront();
    const ViewerAlertCatalogue catalogue(alerts->languageCode(), alerts->wording());
    const auto askForConsent = [&](auto completion) {
        alerts->show(catalogue.consent(), completion);
    };
    const bool hasConsent = co_await answerOf(askForConsent);
    if (!hasConsent || task->isCancelled()) {
        co_return false;
    }
    const auto request = [&](auto completion) { capture->requestAccess(completion); };
    isGranted = co_await answerOf(request);
    if (!isGranted) {
        isGranted = co_await look(capture, clock);
    }
    if (isGranted || task->isCancelled()) {
        co_return isGranted;
    }
    const ViewerAlert missing = catalogue.permissionMissing();
    const auto tell = [&](auto completion) { alerts->show(missing, completion); };
    const bool isFirstButton = co_await answerOf(tell);
    // A button that is alone is the second one: there is no settings page.
    if (isFirstButton && missing.buttons.size() > 1) {
        alerts->openPage(settingsPage);
    }
    co_return false;
}

}  // namespace velmora
