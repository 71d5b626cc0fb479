#include "core/runtime/linux/ViewerLoadedLibrary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace velmora {
namespace {

TEST(ViewerLoadedLibrary, FindsItsFunctions) {
    ViewerLoadedLibrary library("libm.so.6");
    double (*found)(double) = nullptr;
    library.find("sqrt", found);

    EXPECT_TRUE(library.isComplete());
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found(9.0), 3.0);
}

TEST(ViewerLoadedLibrary, IsIncompleteFromTheFirstFunctionThatItLacksOn) {
    ViewerLoadedLibrary library("libm.so.6");
    double (*found)(double) = std::sqrt;
    library.find("no_such_function", found);
    EXPECT_EQ(found, nullptr);
    EXPECT_FALSE(library.isComplete());

    library.find("sqrt", found);
    EXPECT_NE(found, nullptr);
    EXPECT_FALSE(library.isComplete());
}

TEST(ViewerLoadedLibrary, IsIncompleteWhereItIsNotThere) {
    ViewerLoadedLibrary library("no_such_library.so.1");
    EXPECT_FALSE(library.isComplete());
    double (*found)(double) = std::sqrt;
    library.find("sqrt", found);
    EXPECT_EQ(found, nullptr);
}

}  // namespace
}  // namespace velmora
