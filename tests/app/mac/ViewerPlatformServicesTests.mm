#include <boost/asio/post.hpp>
#include <memory>

#include "tests/app/mac/ApplicationTest.h"

// What the application is given on macOS.

namespace velmora {
namespace {

using ViewerPlatformServicesOnMac = ApplicationTest;

/// Ends the application from the main executor.
class EndingDelegate final : public ViewerApplicationDelegate {
  public:
    explicit EndingDelegate(ViewerPlatformServices& services) : services_(services) {}
    void applicationDidFinishLaunching() override {
        boost::asio::post(services_.executors->mainExecutor(),
                          [this] { services_.shell->terminate(); });
    }
    ViewerTerminateReply applicationShouldTerminate() override { return ViewerTerminateReply::now; }

  private:
    ViewerPlatformServices& services_;
};

TEST_F(ViewerPlatformServicesOnMac, TheMainExecutorRunsInTheRunLoop) {
    EXPECT_EQ(services_.shell->run(std::make_shared<EndingDelegate>(services_)), 0);
}

}  // namespace
}  // namespace velmora
