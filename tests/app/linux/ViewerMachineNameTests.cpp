#include "app/linux/ViewerMachineName.h"

#include <gtest/gtest.h>

namespace velmora {

namespace {

using ViewerMachineName::prettyHostName;

TEST(ViewerMachineName, AnUnquotedNameIsTakenAsItIs) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=Studio\n"), "Studio");
}

TEST(ViewerMachineName, DoubleQuotesAreRemovedAndTheirEscapesUndone) {
    EXPECT_EQ(prettyHostName(R"(PRETTY_HOSTNAME="Ann's \"big\" \$1 \`box\` \\")"
                             "\n"),
              R"(Ann's "big" $1 `box` \)");
}

TEST(ViewerMachineName, ABackslashInDoubleQuotesStaysBeforeAnOrdinaryCharacter) {
    EXPECT_EQ(prettyHostName(R"(PRETTY_HOSTNAME="a\nb")"), R"(a\nb)");
}

TEST(ViewerMachineName, NothingIsSpecialInSingleQuotes) {
    EXPECT_EQ(prettyHostName(R"(PRETTY_HOSTNAME='The \"lab\" $1')"), R"(The \"lab\" $1)");
}

TEST(ViewerMachineName, QuotedAndUnquotedPiecesMakeOneName) {
    EXPECT_EQ(prettyHostName(R"(PRETTY_HOSTNAME="Ann"\''s'" box")"), "Ann's box");
}

TEST(ViewerMachineName, BlanksAroundAnUnquotedNameAreNotPartOfIt) {
    EXPECT_EQ(prettyHostName("  PRETTY_HOSTNAME=Front desk \t\r\n"), "Front desk");
    EXPECT_EQ(prettyHostName("  PRETTY_HOSTNAME= \tFront desk \t\r\n"), "Front desk");
}

TEST(ViewerMachineName, BlanksInsideQuotesArePartOfTheName) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\" Desk \"\n"), " Desk ");
}

TEST(ViewerMachineName, ANameOfAnyScriptIsKeptByteForByte) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"Касса № 3 🖥\"\n"), "Касса № 3 🖥");
}

TEST(ViewerMachineName, OtherAssignmentsAndCommentsArePassedOver) {
    EXPECT_EQ(prettyHostName("# PRETTY_HOSTNAME=No\nICON_NAME=computer\n\nPRETTY_HOSTNAME=Yes\n"
                             "X_PRETTY_HOSTNAME=No\n# PRETTY_HOSTNAME=No\nCHASSIS=\"vm\""),
              "Yes");
}

TEST(ViewerMachineName, TheLastAssignmentHolds) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=First\nPRETTY_HOSTNAME=Second\n"), "Second");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=First\nPRETTY_HOSTNAME=\n"), std::nullopt);
}

TEST(ViewerMachineName, AMissingOrEmptyNameIsNone) {
    EXPECT_EQ(prettyHostName(""), std::nullopt);
    EXPECT_EQ(prettyHostName("\n\n"), std::nullopt);
    EXPECT_EQ(prettyHostName("CHASSIS=desktop\n"), std::nullopt);
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME"), std::nullopt);
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\n"), std::nullopt);
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"\"\n"), std::nullopt);
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=  \n"), std::nullopt);
}

TEST(ViewerMachineName, AQuoteThatStaysOpenIsNoName) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"Studio\nICON_NAME=\"computer\"\n"), std::nullopt);
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME='Studio"), std::nullopt);
    EXPECT_EQ(prettyHostName(R"(PRETTY_HOSTNAME="Studio\")"), std::nullopt);
}

TEST(ViewerMachineName, ABackslashAtTheEndStandsForItself) {
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=Studio\\\nCHASSIS=vm"), "Studio\\");
}

}  // namespace

}  // namespace velmora
