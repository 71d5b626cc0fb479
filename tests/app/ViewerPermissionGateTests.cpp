#include "app/ViewerPermissionGate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/runtime/ViewerTaskHandle.h"
#include "tests/support/ScriptedApplicationShell.h"

namespace velmora {

namespace {

using testing::ElementsAre;

using Answer = std::shared_ptr<std::optional<bool>>;

ViewerTask<void> ask(std::shared_ptr<ScriptedApplicationShell> shell, Answer answer) {
    const bool isAllowed = co_await ViewerPermissionGate::isAllowed(shell);
    *answer = isAllowed;
}

class ViewerPermissionGateTest : public testing::Test {
  protected:
    Answer askGate() {
        auto answer = std::make_shared<std::optional<bool>>();
        (void)startTask(world_.mainExecutor(), ask(shell_, answer));
        world_.settle();
        return answer;
    }

    SimulatedWorld world_;
    std::shared_ptr<ScriptedApplicationShell> shell_ =
        std::make_shared<ScriptedApplicationShell>(world_);
};

TEST_F(ViewerPermissionGateTest, APermissionThatIsGrantedAlreadyLetsTheHostOnAtOnce) {
    EXPECT_EQ(*askGate(), true);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight"));
}

TEST_F(ViewerPermissionGateTest, WithoutThePermissionTheHostMayNotGoOn) {
    shell_->access = false;
    EXPECT_EQ(*askGate(), false);
}

TEST_F(ViewerPermissionGateTest, TheGateWaitsForTheAnswer) {
    shell_->access.reset();
    const Answer answer = askGate();
    EXPECT_EQ(*answer, std::nullopt);
    shell_->answerPreflight(true);
    world_.settle();

    EXPECT_EQ(*answer, true);
}

}  // namespace

}  // namespace velmora
