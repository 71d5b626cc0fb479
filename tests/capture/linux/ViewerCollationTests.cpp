#include "core/capture/linux/ViewerCollation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora {
namespace {

/// Whether each name comes before all that follow it, and none of those before it.
testing::AssertionResult areAscending(const ViewerCollation& order,
                                      const std::vector<std::string>& names) {
    for (std::size_t first = 0; first < names.size(); ++first) {
        for (std::size_t second = first + 1; second < names.size(); ++second) {
            if (!order.isAscending(names[first], names[second]) ||
                order.isAscending(names[second], names[first])) {
                return testing::AssertionFailure() << names[first] << ", " << names[second];
            }
        }
    }
    return testing::AssertionSuccess();
}

TEST(ViewerCollation, DigitsCountByTheirValue) {
    const ViewerCollation order("en_US.UTF-8");
    EXPECT_TRUE(areAscending(order, {"Display 1", "Display 2", "Display 10", "Display 100 a"}));
}

TEST(ViewerCollation, LetterCaseCountsForNothing) {
    const ViewerCollation order("en_US.UTF-8");
    EXPECT_FALSE(order.isAscending("display", "DISPLAY"));
    EXPECT_FALSE(order.isAscending("DISPLAY", "display"));
    EXPECT_TRUE(areAscending(order, {"alpha", "Beta", "gamma"}));
}

TEST(ViewerCollation, AccentsCountAfterTheLetters) {
    const ViewerCollation order("en_US.UTF-8");
    EXPECT_TRUE(areAscending(order, {"cote", "coté", "cotf"}));
}

TEST(ViewerCollation, EachLocaleHasItsAlphabet) {
    EXPECT_TRUE(areAscending(ViewerCollation("sv_SE.UTF-8"), {"a", "z", "ä"}));
    EXPECT_TRUE(areAscending(ViewerCollation("de_DE.UTF-8"), {"a", "ä", "z"}));
    EXPECT_TRUE(areAscending(ViewerCollation("ru_RU.UTF-8"), {"елка", "ёлка", "жук"}));
}

TEST(ViewerCollation, TheRootAndARefusedLocaleSortForMostLanguages) {
    for (const char* locale : {"", "en@a=b;c", "no such locale"}) {
        SCOPED_TRACE(locale);
        const ViewerCollation order(locale);
        EXPECT_TRUE(areAscending(order, {"a 2", "Ä 10", "b", "Gamma", "z", "Ж"}));
    }
}

TEST(ViewerCollation, BytesThatAreNotUTF8AreComparedToo) {
    const ViewerCollation order("");
    EXPECT_FALSE(order.isAscending("\xFF", "\xFF"));
    EXPECT_TRUE(order.isAscending("a", "a\xFF"));
    EXPECT_FALSE(order.isAscending("a\xFF", "a"));
    EXPECT_FALSE(order.isAscending("", ""));
}

}  // namespace
}  // namespace velmora
