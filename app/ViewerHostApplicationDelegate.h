#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/ViewerPlatformServices.h"
#include "core/capture/MacDisplayCaptureSource.h"
#include "core/coordination/ViewerHostFrameProviding.h"
#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerTask.h"
#include "core/runtime/ViewerTaskHandle.h"

namespace velmora {

/// The application's delegate: owns the host's objects, brings the server up once the user's
/// permission is there, and takes everything down in order when it is asked to quit or signalled.
/// Made by the process entry, lives until the process ends; main thread only.
class ViewerHostApplicationDelegate final
    : public ViewerApplicationDelegate,
      public std::enable_shared_from_this<ViewerHostApplicationDelegate> {
  public:
    explicit ViewerHostApplicationDelegate(ViewerPlatformServices services);
    ViewerHostApplicationDelegate(const ViewerHostApplicationDelegate&) = delete;
    ViewerHostApplicationDelegate& operator=(const ViewerHostApplicationDelegate&) = delete;

    void applicationDidFinishLaunching() override;
    ViewerTerminateReply applicationShouldTerminate() override;

  private:
    using Self = std::shared_ptr<ViewerHostApplicationDelegate>;
    using WeakSelf = std::weak_ptr<ViewerHostApplicationDelegate>;

    const std::shared_ptr<ViewerHostFrameProviding>& provider();
    const std::shared_ptr<ViewerHTTPServer>& server();

    void installSignalHandlers();
    static ViewerTask<void> startUp(Self self);
    /// Shows why the server did not start, then ends the application.
    void tellFailure(std::string errorDescription);
    void beginTermination();
    static ViewerTask<void> finishAfterStop(std::shared_ptr<ViewerHTTPServer> server,
                                            ViewerExecutor main, WeakSelf weak);
    static ViewerTask<void> finishAfterGrace(std::shared_ptr<ViewerContinuousClock> clock,
                                             ViewerExecutor main, WeakSelf weak);
    static void finishOn(const ViewerExecutor& main, WeakSelf weak);
    void finishTermination();

    const ViewerPlatformServices services_;
    const std::shared_ptr<MacDisplayCaptureSource> source_;
    /// Made on first use, then kept.
    std::shared_ptr<ViewerHostFrameProviding> provider_;
    /// Made on first use, then kept.
    std::shared_ptr<ViewerHTTPServer> server_;
    std::shared_ptr<ViewerTaskHandle> startupTask_;
    std::vector<std::shared_ptr<ViewerSignalSource>> signalSources_;
    bool terminationStarted_ = false;
    bool readyToTerminate_ = false;
};

}  // namespace velmora
