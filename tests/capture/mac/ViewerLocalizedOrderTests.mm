#include "core/capture/ViewerLocalizedOrder.h"

#include "tests/mac/MacTest.h"

namespace velmora {
namespace {

using ViewerLocalizedOrderTest = MacTest;

TEST_F(ViewerLocalizedOrderTest, NamesAreComparedAsPeopleDo) {
    EXPECT_TRUE(ViewerLocalizedOrder::comesBefore("Display 2", "Display 10"));
    EXPECT_FALSE(ViewerLocalizedOrder::comesBefore("Display 10", "Display 2"));
    EXPECT_FALSE(ViewerLocalizedOrder::comesBefore("display", "DISPLAY"));
    EXPECT_FALSE(ViewerLocalizedOrder::comesBefore("DISPLAY", "display"));
    EXPECT_TRUE(ViewerLocalizedOrder::comesBefore("Дисплей 2", "дисплей 10"));
}

TEST_F(ViewerLocalizedOrderTest, ANameThatIsNoTextComesBeforeNothing) {
    EXPECT_FALSE(ViewerLocalizedOrder::comesBefore("\xff", "a"));
    EXPECT_FALSE(ViewerLocalizedOrder::comesBefore("a", "\xff"));
}

}  // namespace
}  // namespace velmora
