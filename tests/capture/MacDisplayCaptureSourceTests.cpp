#include "core/capture/MacDisplayCaptureSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/capture/ListedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;

using Displays = std::vector<ViewerHostDisplay>;

/// A display whose name stands in the list.
ViewerNativeDisplay named(std::uint32_t number, const std::string& uuidText, std::string name) {
    ViewerNativeDisplay native = display(number, uuidText);
    native.name = std::move(name);
    return native;
}

TEST(MacDisplayCaptureSource, ListsADisplayWithItsIdNameAndSize) {
    ListedWorld world;
    world.capture->report({{1, "37D8832A-2D66-02CA-B9F7-8F30A301B230", 1920, 1080, true}});
    world.capture->attached = {{1, "Colour LCD"}};

    const Displays expected{
        {"macos-display:37d8832a-2d66-02ca-b9f7-8f30a301b230", "Colour LCD", 1920, 1080}};
    EXPECT_EQ(world.list(), expected);
}

TEST(MacDisplayCaptureSource, LeavesOutADisplayWithoutAUUID) {
    ListedWorld world;
    world.capture->report({{1, std::nullopt, 640, 480, true}, display(2, "B")});
    EXPECT_EQ(world.listedIds(), std::vector<std::string>({"macos-display:b"}));
    EXPECT_EQ(world.source->makeSession("macos-display:"), nullptr);
}

TEST(MacDisplayCaptureSource, NamesADisplayAfterItsNumberWhereNoScreenNamesIt) {
    ListedWorld world;
    world.capture->report({display(0, "A"), display(1, "B"), display(4'294'967'295, "C")});
    world.capture->attached = {{std::nullopt, "Numberless"}, {2, "Another"}};
    EXPECT_EQ(world.listedNames(),
              std::vector<std::string>({"Display 0", "Display 1", "Display 4294967295"}));
}

TEST(MacDisplayCaptureSource, OfScreensWithTheSameNumberTheLaterNamesTheDisplay) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    world.capture->attached = {{1, "Earlier"}, {2, "Another"}, {1, "Later"}};
    EXPECT_EQ(world.listedNames(), std::vector<std::string>({"Later"}));
}

TEST(MacDisplayCaptureSource, OfDisplaysWithTheSameIdBothAreListedAndTheLaterIsCaptured) {
    ListedWorld world;
    world.capture->report({{1, "A", 100, 50, false}, {2, "a", 200, 100, false}});

    EXPECT_EQ(world.listedNames(), std::vector<std::string>({"Display 1", "Display 2"}));
    world.askForFrame("macos-display:a");
    ASSERT_EQ(world.capture->streams.size(), 1U);
    EXPECT_EQ(world.capture->streams[0]->display.number, 2U);
}

TEST(MacDisplayCaptureSource, WithoutAccessListsNothingAndForgetsEveryDisplay) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    ASSERT_EQ(world.listedIds().size(), 1U);
    ASSERT_NE(world.source->makeSession("macos-display:a"), nullptr);

    world.capture->isGranted = false;

    EXPECT_EQ(world.list(), Displays());
    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr);
    EXPECT_EQ(world.capture->listings, 1) << "the platform is not asked without access";
}

TEST(MacDisplayCaptureSource, AnErrorOfThePlatformListsNothingAndForgetsEveryDisplay) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    ASSERT_EQ(world.listedIds().size(), 1U);
    const auto opened = world.source->makeSession("macos-display:a");

    world.capture->reported = nullptr;

    EXPECT_EQ(world.list(), Displays());
    EXPECT_EQ(world.capture->screenReadings, 1) << "there is nothing to name";
    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr);
    const SpawnedAnswer frame(world.simulated, opened->latestFrame());
    world.simulated.settle();
    ASSERT_EQ(world.capture->streams.size(), 1U) << "an opened session is unaffected";
    EXPECT_EQ(world.capture->streams[0]->starts, 1);
    world.simulated.runToEnd();
}

TEST(MacDisplayCaptureSource, OnlyDisplaysOfTheLastListingCanBeCaptured) {
    ListedWorld world;
    world.capture->report({display(1, "A"), display(2, "B")});
    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr) << "nothing is listed yet";
    (void)world.list();
    EXPECT_NE(world.source->makeSession("macos-display:a"), nullptr);
    EXPECT_EQ(world.source->makeSession("macos-display:A"), nullptr);
    EXPECT_EQ(world.source->makeSession(""), nullptr);

    world.capture->report({display(2, "B"), display(3, "C")});
    (void)world.list();

    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr);
    EXPECT_NE(world.source->makeSession("macos-display:b"), nullptr);
    EXPECT_NE(world.source->makeSession("macos-display:c"), nullptr);
}

TEST(MacDisplayCaptureSource, EverySessionIsANewOneAndStartsNothingByItself) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    (void)world.list();
    const auto first = world.source->makeSession("macos-display:a");
    const auto second = world.source->makeSession("macos-display:a");
    world.simulated.runToEnd();
    EXPECT_NE(first, second);
    EXPECT_TRUE(world.capture->streams.empty());
}

TEST(MacDisplayCaptureSource, APlatformThatDoesNotAnswerCountsAsFailedAfterFourSeconds) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    (void)world.list();
    world.capture->holdsListings = true;

    const SpawnedAnswer answer(world.simulated, world.source->displays());
    world.simulated.advance(3999ms);
    EXPECT_FALSE(answer.isThere());
    EXPECT_NE(world.source->makeSession("macos-display:a"), nullptr);
    world.simulated.advance(1ms);

    ASSERT_TRUE(answer.isThere());
    EXPECT_EQ(answer.value(), Displays());
    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr);

    world.capture->completeListing();
    world.simulated.runToEnd();
    EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr)
        << "a late answer changes nothing";
}

TEST(MacDisplayCaptureSource, AListingOutlivesItsOwner) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    world.capture->holdsListings = true;
    const SpawnedAnswer answer(world.simulated, world.source->displays());
    world.simulated.settle();

    world.source = nullptr;
    world.capture->completeListing();
    world.simulated.settle();

    ASSERT_TRUE(answer.isThere());
    EXPECT_EQ(answer.value().size(), 1U);
}

TEST(MacDisplayCaptureSource, ADisplayWhoseListNamesItHasThatName) {
    ListedWorld world;
    world.capture->report({named(1, "A", "Left"), named(2, "B", "Right")});
    world.capture->attached = {{1, "Screen"}};
    EXPECT_EQ(world.listedNames(), std::vector<std::string>({"Left", "Right"}));
    EXPECT_EQ(world.capture->screenReadings, 0) << "nobody needs the screens";
}

TEST(MacDisplayCaptureSource, TheScreensNameWhatTheListDoesNot) {
    ListedWorld world;
    world.capture->report({named(1, "A", "Left"), display(2, "B"), display(3, "C")});
    world.capture->attached = {{1, "Screen"}, {2, "Right"}};
    EXPECT_EQ(world.listedNames(), std::vector<std::string>({"Display 3", "Left", "Right"}));
    world.capture->report({});
    EXPECT_TRUE(world.list().empty());
    EXPECT_EQ(world.capture->screenReadings, 2) << "a list without displays has no names either";
}

TEST(MacDisplayCaptureSource, AnUnchangedListIsNotNamedAndSortedAgain) {
    ListedWorld world;
    ViewerScreenCapture::Displays displays{display(1, "A"), display(2, "B"), display(3, "C")};
    const auto reported = std::make_shared<ViewerScreenCapture::Displays>(displays);
    world.capture->reported = reported;
    const Displays first = world.list();

    // No platform changes a list that it has passed: this shows who looks into it.
    reported->clear();
    EXPECT_EQ(world.list(), first);
    EXPECT_NE(world.source->makeSession("macos-display:c"), nullptr);

    *reported = displays;
    world.capture->attached = {{1, "Zulu"}};
    EXPECT_EQ(world.listedNames(), std::vector<std::string>({"Display 2", "Display 3", "Zulu"}))
        << "new names count though the list is unchanged";
}

TEST(MacDisplayCaptureSource, AnUnchangedListCountsAgainAfterAFailure) {
    ListedWorld world;
    world.capture->report({display(1, "A")});
    const Displays first = world.list();
    world.capture->isGranted = false;
    EXPECT_EQ(world.list(), Displays());

    world.capture->isGranted = true;

    EXPECT_EQ(world.list(), first);
    EXPECT_NE(world.source->makeSession("macos-display:a"), nullptr);
}

TEST(MacDisplayCaptureSource, ListingsSideBySideNeverMixTheirDisplays) {
    const std::vector<std::vector<std::string>> states{
        {}, {"macos-display:a", "macos-display:b"}, {"macos-display:c", "macos-display:d"}};
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        ListedWorld world(seed);
        std::vector<SpawnedAnswer<ViewerHostDisplays>> answers;
        for (int listing = 0; listing < 8; ++listing) {
            world.changeByChance();
            answers.emplace_back(world.simulated, world.source->displays());
            if (world.simulated.choose(2) == 0) {
                world.simulated.settle();
            }
        }
        world.simulated.runToEnd();
        for (const SpawnedAnswer<ViewerHostDisplays>& answer : answers) {
            ASSERT_TRUE(answer.isThere());
            EXPECT_THAT(states, testing::Contains(idsOf(answer.value())));
        }
        world.capture->isGranted = true;
        world.capture->report({display(3, "C"), display(4, "D")});
        EXPECT_EQ(world.listedIds(), states[2]);
        EXPECT_EQ(world.source->makeSession("macos-display:a"), nullptr);
        EXPECT_NE(world.source->makeSession("macos-display:d"), nullptr);
    }
}

}  // namespace
}  // namespace velmora
