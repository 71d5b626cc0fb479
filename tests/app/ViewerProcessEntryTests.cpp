#include "app/ViewerProcessEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/app/LaunchedHost.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ViewerProcessEntryTest : public testing::Test {
  protected:
    ViewerProcessEntryTest() { shell_->capture = std::make_shared<SilentScreenCapture>(); }

    int run(const std::vector<const char*>& arguments) {
        return ViewerProcessEntry::run(shell_, arguments);
    }

    SimulatedWorld world_;
    std::shared_ptr<ScriptedApplicationShell> shell_ =
        std::make_shared<ScriptedApplicationShell>(world_);
};

TEST_F(ViewerProcessEntryTest, TheCheckPrintsOneLineAndEndsWith0WhenGranted) {
    EXPECT_EQ(run({"host", "--check-permission"}), 0);
    EXPECT_THAT(shell_->lines(), ElementsAre("Screen Recording: granted"));
}

TEST_F(ViewerProcessEntryTest, TheCheckPrintsOneLineAndEndsWith2WhenNotGranted) {
    shell_->access = false;
    EXPECT_EQ(run({"host", "--check-permission"}), 2);
    EXPECT_THAT(shell_->lines(), ElementsAre("Screen Recording: not granted"));
}

TEST_F(ViewerProcessEntryTest, TheCheckDoesNothingBesidesTheCheck) {
    run({"host", "--check-permission"});

    EXPECT_THAT(shell_->calls(), ElementsAre("preflight"));
}

TEST_F(ViewerProcessEntryTest, TheCheckIsSelectedAnywhereAmongTheArguments) {
    run({"host", "one", "--check-permission", "two"});
    run({"host", "one", "two", "--check-permission"});
    run({"--check-permission"});
    run({"--check-permission", "--check-permission"});

    EXPECT_EQ(shell_->lines().size(), 4U);
    EXPECT_THAT(shell_->calls(), ElementsAre("preflight", "preflight", "preflight", "preflight"));
}

class ViewerProcessEntryWith : public ViewerProcessEntryTest,
                               public testing::WithParamInterface<std::vector<const char*>> {};

TEST_P(ViewerProcessEntryWith, OtherArgumentsRunTheHostWithItsSignalsIgnoredFirst) {
    shell_->access = false;
    shell_->presses = {1};
    EXPECT_EQ(run(GetParam()), 0);
    EXPECT_THAT(shell_->calls(), ElementsAre("ignore SIGINT", "ignore SIGTERM", "screen capture",
                                             "run", "watch SIGINT", "watch SIGTERM", "preflight",
                                             "front", "alert Allow Viewer Host to Share Displays?",
                                             "machine name", "transport"));
    EXPECT_THAT(shell_->lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, ViewerProcessEntryWith,
    testing::Values(std::vector<const char*>{}, std::vector<const char*>{"host"},
                    std::vector<const char*>{"host", "--check-permissions"},
                    std::vector<const char*>{"host", "--Check-Permission"},
                    std::vector<const char*>{"host", "--check-permission=yes"},
                    std::vector<const char*>{"host", "--", "check-permission", ""}));

}  // namespace

}  // namespace velmora
