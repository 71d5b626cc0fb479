#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "core/capture/MacDisplayIdentifier.h"
#include "core/capture/ViewerLocalizedOrder.h"
#include "tests/capture/ListedWorld.h"

namespace velmora {
namespace {

TEST(MacDisplayCaptureSource, ListsTheMainDisplayFirstWhateverItsName) {
    ListedWorld world;
    world.capture->report({display(10, "A"), display(2, "B"), {99, "C", 1, 1, true}});
    EXPECT_EQ(world.listedNames(),
              std::vector<std::string>({"Display 99", "Display 2", "Display 10"}));
}

TEST(MacDisplayCaptureSource, ListsDisplaysOfTheSameNameById) {
    ListedWorld world;
    world.capture->report({display(1, "C"), display(2, "A"), display(3, "B")});
    world.capture->attached = {{1, "Twin"}, {2, "Twin"}, {3, "Twin"}};
    EXPECT_EQ(world.listedIds(),
              std::vector<std::string>({"macos-display:a", "macos-display:b", "macos-display:c"}));
}

TEST(MacDisplayCaptureSource, OfDisplaysWithTheSameIdTheLaterTellsWhetherTheyAreMain) {
    ListedWorld world;
    world.capture->report({display(1, "A"), {5, "B", 1, 1, true}, display(7, "b")});
    EXPECT_EQ(world.listedNames(),
              std::vector<std::string>({"Display 1", "Display 5", "Display 7"}));

    world.capture->report({display(1, "A"), display(5, "B"), {7, "b", 1, 1, true}});
    EXPECT_EQ(world.listedNames(),
              std::vector<std::string>({"Display 5", "Display 7", "Display 1"}));
}

/// Few names and ids, so that chance makes twins and names that differ only in letter case.
void reportByChance(ListedWorld& world) {
    const std::vector<std::string> names{"a", "A", "b 2", "B 10", "B 2", "c"};
    const std::vector<std::string> uuids{"U1", "U2", "U3", "U4", "U5", "U6", "U7", "U8"};
    SimulatedWorld& chance = world.simulated;
    std::vector<ViewerNativeDisplay> displays;
    std::vector<ViewerNativeScreen> screens;
    const std::size_t count = chance.choose(30);
    for (std::uint32_t number = 0; number < count; ++number) {
        const bool isMain = chance.choose(8) == 0;
        displays.push_back({number, uuids[chance.choose(uuids.size())], 1, 1, isMain});
        screens.push_back({number, names[chance.choose(names.size())]});
    }
    world.capture->report(displays);
    world.capture->attached = screens;
}

/// Whether `b` has to come before `a`.
bool isOutOfOrder(const FakeScreenCapture& platform, const ViewerHostDisplay& a,
                  const ViewerHostDisplay& b) {
    const auto isMain = [&](const ViewerHostDisplay& listed) {
        bool result = false;
        for (const ViewerNativeDisplay& native : *platform.reported) {
            if (listed.id == MacDisplayIdentifier::identifier(*native.uuidText)) {
                result = native.isMain;
            }
        }
        return result;
    };
    if (isMain(a) != isMain(b)) {
        return isMain(b);
    }
    return a.name == b.name ? b.id < a.id : ViewerLocalizedOrder::comesBefore(b.name, a.name);
}

TEST(MacDisplayCaptureSource, ListsAnyDisplaysInOrder) {
    for (std::uint64_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        ListedWorld world(seed);
        reportByChance(world);
        const auto listed = world.list();
        ASSERT_EQ(listed.size(), world.capture->reported->size());
        for (std::size_t first = 0; first < listed.size(); ++first) {
            for (std::size_t second = first + 1; second < listed.size(); ++second) {
                EXPECT_FALSE(isOutOfOrder(*world.capture, listed[first], listed[second]))
                    << listed[first].name << ", " << listed[second].name;
            }
        }
    }
}

}  // namespace
}  // namespace velmora
