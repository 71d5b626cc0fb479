#include "app/ViewerHostApplicationDelegate.h"

#include <boost/asio/post.hpp>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

#include "app/ViewerAlertCatalogue.h"
#include "app/ViewerPermissionGate.h"
#include "core/coordination/ViewerCaptureCoordinator.h"
#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

/// From the beginning of termination to the process's end, even when the server's stop hangs.
constexpr std::chrono::seconds terminationGrace{3};

std::string listeningLine(std::uint16_t port) {
    return "Velmora Viewer Host protocol v1 listening on TCP " + std::to_string(port);
}

}  // namespace

ViewerHostApplicationDelegate::ViewerHostApplicationDelegate(ViewerPlatformServices services)
    : services_(std::move(services)),
      source_(std::make_shared<MacDisplayCaptureSource>(services_.capture, *services_.executors,
                                                        services_.clock)) {}

const std::shared_ptr<ViewerHostFrameProviding>& ViewerHostApplicationDelegate::provider() {
    if (!provider_) {
        provider_ = std::make_shared<ViewerCaptureCoordinator>(
            source_, ViewerHostProtocolV1::sessionLimit, ViewerHostProtocolV1::idleTimeout,
            *services_.executors, services_.clock);
    }
    return provider_;
}

const std::shared_ptr<ViewerHTTPServer>& ViewerHostApplicationDelegate::server() {
    if (!server_) {
        std::string machineName = services_.shell->machineName().value_or("Mac");
        server_ = std::make_shared<ViewerHTTPServer>(provider(), ViewerHostProtocolV1::defaultPort,
                                                     std::move(machineName), services_.transport,
                                                     *services_.executors, services_.clock);
    }
    return server_;
}

void ViewerHostApplicationDelegate::applicationDidFinishLaunching() {
    if (terminationStarted_) {
        return;  // asked to quit before it had begun
    }
    installSignalHandlers();
    startupTask_ = std::make_shared<ViewerTaskHandle>(services_.executors->mainExecutor());
    startupTask_->start(startUp(shared_from_this()));
}

ViewerTerminateReply ViewerHostApplicationDelegate::applicationShouldTerminate() {
    if (readyToTerminate_) {
        return ViewerTerminateReply::now;
    }
    beginTermination();
    return ViewerTerminateReply::cancel;
}

void ViewerHostApplicationDelegate::installSignalHandlers() {
    for (const int signal : {SIGINT, SIGTERM}) {
        signalSources_.push_back(services_.shell->makeSignalSource(
            signal, ifAlive(weak_from_this(), &ViewerHostApplicationDelegate::beginTermination)));
    }
}

ViewerTask<void> ViewerHostApplicationDelegate::startUp(Self self) {
    const bool isAllowed = co_await ViewerPermissionGate::isAllowed(
        self->services_.capture, self->services_.alerts, self->services_.clock, self->startupTask_);
    if (self->startupTask_->isCancelled()) {
        co_return;
    }
    if (!isAllowed) {
        self->services_.shell->terminate();
        co_return;
    }
    self->services_.capture->watchSession(
        ifAlive(WeakSelf(self), &ViewerHostApplicationDelegate::beginTermination));
    const auto outcome = co_await self->server()->start();
    if (const auto* const port = std::get_if<std::uint16_t>(&outcome)) {
        self->services_.shell->printLine(listeningLine(*port));
    } else if (!self->startupTask_->isCancelled()) {
        self->tellFailure(std::get<ViewerHTTPStartFailure>(outcome).errorDescription());
    }
}

void ViewerHostApplicationDelegate::tellFailure(std::string errorDescription) {
    ViewerAlertPresenter& alerts = *services_.alerts;
    alerts.bringToFront();
    const ViewerAlertCatalogue catalogue(alerts.languageCode(), alerts.wording());
    alerts.show(catalogue.didNotStart(std::move(errorDescription)),
                [shell = services_.shell](bool) { shell->terminate(); });
}

void ViewerHostApplicationDelegate::beginTermination() {
    if (terminationStarted_) {
        return;
    }
    terminationStarted_ = true;
    if (startupTask_) {
        startupTask_->cancel();
    }
    for (const auto& source : signalSources_) {
        source->cancel();
    }
    signalSources_.clear();
    services_.alerts->close();
    services_.capture->withdrawRequest();
    ViewerExecutors& executors = *services_.executors;
    // Both run by themselves: whichever ends first ends the process.
    (void)startTask(executors.taskExecutor(),
                    finishAfterStop(server(), executors.mainExecutor(), weak_from_this()));
    (void)startTask(executors.taskExecutor(),
                    finishAfterGrace(services_.clock, executors.mainExecutor(), weak_from_this()));
}

ViewerTask<void> ViewerHostApplicationDelegate::finishAfterStop(
    std::shared_ptr<ViewerHTTPServer> server, ViewerExecutor main, WeakSelf weak) {
    co_await server->stop();
    finishOn(main, std::move(weak));
}

ViewerTask<void> ViewerHostApplicationDelegate::finishAfterGrace(
    std::shared_ptr<ViewerContinuousClock> clock, ViewerExecutor main, WeakSelf weak) {
    // Also when the sleep ended early.
    (void)co_await clock->sleep(terminationGrace);
    finishOn(main, std::move(weak));
}

void ViewerHostApplicationDelegate::finishOn(const ViewerExecutor& main, WeakSelf weak) {
    boost::asio::post(main,
                      ifAlive(std::move(weak), &ViewerHostApplicationDelegate::finishTermination));
}

void ViewerHostApplicationDelegate::finishTermination() {
    if (readyToTerminate_) {
        return;
    }
    readyToTerminate_ = true;
    services_.shell->terminate();
}

}  // namespace velmora
