#include "app/ViewerProcessEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/support/app/ScriptedPlatform.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ViewerProcessEntryTest : public testing::Test {
  protected:
    int run(const std::vector<const char*>& arguments) {
        return ViewerProcessEntry::run(platform_.services(), arguments);
    }

    ScriptedPlatform platform_;
};

TEST_F(ViewerProcessEntryTest, TheCheckPrintsOneLineAndEndsWith0WhenGranted) {
    EXPECT_EQ(run({"host", "--check-permission"}), 0);
    EXPECT_THAT(platform_.shell->lines(), ElementsAre("Screen Recording: granted"));
}

TEST_F(ViewerProcessEntryTest, TheCheckPrintsOneLineAndEndsWith2WhenNotGranted) {
    platform_.capture->seenAccess = ViewerCaptureAccess::requestable;
    EXPECT_EQ(run({"host", "--check-permission"}), 2);
    EXPECT_THAT(platform_.shell->lines(), ElementsAre("Screen Recording: not granted"));
}

TEST_F(ViewerProcessEntryTest, TheCheckDoesNothingBesidesTheCheck) {
    run({"host", "--check-permission"});

    EXPECT_THAT(platform_.calls(), ElementsAre("look"));
}

TEST_F(ViewerProcessEntryTest, TheCheckIsSelectedAnywhereAmongTheArguments) {
    run({"host", "one", "--check-permission", "two"});
    run({"host", "one", "two", "--check-permission"});
    run({"--check-permission"});
    run({"--check-permission", "--check-permission"});

    EXPECT_EQ(platform_.shell->lines().size(), 4U);
    EXPECT_THAT(platform_.calls(), ElementsAre("look", "look", "look", "look"));
}

class ViewerProcessEntryWith : public ViewerProcessEntryTest,
                               public testing::WithParamInterface<std::vector<const char*>> {};

TEST_P(ViewerProcessEntryWith, OtherArgumentsRunTheHostWithItsSignalsIgnoredFirst) {
    platform_.capture->seenAccess = ViewerCaptureAccess::requestable;
    platform_.alerts->presses = {1};
    EXPECT_EQ(run(GetParam()), 0);
    EXPECT_THAT(platform_.calls(), ElementsAre("ignore SIGINT", "ignore SIGTERM", "run",
                                               "watch SIGINT", "watch SIGTERM", "look", "front",
                                               "alert Allow Viewer Host to Share Displays?",
                                               "close alert", "withdraw", "machine name"));
    EXPECT_THAT(platform_.shell->lines(), IsEmpty());
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
