#include "app/ViewerPlatformServices.h"

#include <gtest/gtest.h>

#include <boost/asio/post.hpp>
#include <memory>

namespace velmora {

namespace {

/// Ends the application from the main executor.
class EndingDelegate final : public ViewerApplicationDelegate {
  public:
    explicit EndingDelegate(const ViewerPlatformServices& services) : services_(services) {}
    void applicationDidFinishLaunching() override {
        boost::asio::post(services_.executors->mainExecutor(),
                          [this] { services_.shell->terminate(); });
    }
    ViewerTerminateReply applicationShouldTerminate() override { return ViewerTerminateReply::now; }

  private:
    const ViewerPlatformServices& services_;
};

TEST(ViewerPlatformServicesOnLinux, EveryExecutorIsTheMainThreads) {
    const ViewerPlatformServices services = makePlatformServices();
    ViewerExecutors& executors = *services.executors;

    EXPECT_EQ(executors.mainExecutor(), executors.taskExecutor());
    EXPECT_EQ(executors.mainExecutor(), executors.makeSerialExecutor("queue"));
}

TEST(ViewerPlatformServicesOnLinux, TheMainExecutorRunsInTheRunLoop) {
    const ViewerPlatformServices services = makePlatformServices();

    EXPECT_EQ(services.shell->run(std::make_shared<EndingDelegate>(services)), 0);
}

}  // namespace

}  // namespace velmora
