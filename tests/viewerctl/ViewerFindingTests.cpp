#include "viewerctl/ViewerFinding.h"

#include <gtest/gtest.h>
#include <netdb.h>

#include <sstream>
#include <vector>

#include "viewerctl/ViewerNameResolver.h"

namespace velmora {

namespace {

using State = ViewerFinding::State;

const ViewerFinding good{State::good, "a", "long title", "well", ""};
const ViewerFinding note{State::note, "b", "short", "so so", "wait"};
const ViewerFinding bad{State::bad, "c", "short", "not well", ""};

TEST(ViewerFindings, StandBelowEachOtherInColour) {
    std::ostringstream output;
    ViewerConsole console{ViewerLanguage::english(), output, output};
    EXPECT_EQ(ViewerFindings::table({good, note}, console),
              "✓ long title  well\n"
              "• short       so so\n"
              "              → wait\n");
    console.showsColours = true;
    EXPECT_EQ(ViewerFindings::table({bad}, console), "\033[31m✗\033[0m short  not well\n");
}

TEST(ViewerFindings, FailWhereSomethingHasToBeDone) {
    EXPECT_EQ(ViewerFindings::exitOf({good, note}), ViewerExit::allGood);
    EXPECT_EQ(ViewerFindings::exitOf({good, bad, note}), ViewerExit::someFailed);
}

TEST(ViewerNameResolver, TellsASilentServerFromANameThatNobodyHas) {
    EXPECT_EQ(ViewerNameResolver::failureOf(EAI_AGAIN), ViewerFailure::nameServerSilent);
    EXPECT_EQ(ViewerNameResolver::failureOf(EAI_SYSTEM), ViewerFailure::nameServerSilent);
    EXPECT_EQ(ViewerNameResolver::failureOf(EAI_NONAME), ViewerFailure::noSuchName);
}

}  // namespace

}  // namespace velmora
