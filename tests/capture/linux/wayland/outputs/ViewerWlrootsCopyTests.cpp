#include "core/capture/linux/wayland/outputs/ViewerWlrootsCopy.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <wayland-client-protocol.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "tests/capture/linux/wayland/outputs/ScriptedCopyTest.h"
#include "tests/support/wayland/ScriptedScreenCopy.h"

namespace velmora {
namespace {

/// While there is one no file can grow, and no memory either that is shared like a file.
class FilesThatCannotGrow final {
  public:
    FilesThatCannotGrow() {
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
        rlimit none = before_;
        none.rlim_cur = 0;
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &none), 0);
    }
    ~FilesThatCannotGrow() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, handler_);
    }
    FilesThatCannotGrow(const FilesThatCannotGrow&) = delete;
    FilesThatCannotGrow& operator=(const FilesThatCannotGrow&) = delete;

  private:
    rlimit before_{};
    const sighandler_t handler_ = ::signal(SIGXFSZ, SIG_IGN);
};

/// A compositor that has the extension.
class ViewerWlrootsCopyTest : public ScriptedCopyTest {
  protected:
    ViewerWlrootsCopyTest() {
        script_.width = 3;
        script_.height = 2;
        script_.layouts = {{WL_SHM_FORMAT_XRGB8888, 3 * 4}};
        script_.pixels = {1, 2, 3, 4, 5, 6};
    }

    Pixels copy() {
        script_.addTo(compositor_.display());
        return copyOf(addOutput());
    }

    ScriptedScreenCopy script_;
};

TEST_F(ViewerWlrootsCopyTest, AnOutputIsCopiedWithoutTheCursor) {
    EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6}));
    EXPECT_FALSE(script_.hasCursor);
    EXPECT_EQ(script_.boundVersion, 3U);
}

TEST_F(ViewerWlrootsCopyTest, TheMemoryOfAPictureIsGivenBack) {
    const auto isMapped = [] {
        std::ifstream maps("/proc/self/maps");
        const std::string all{std::istreambuf_iterator<char>(maps), {}};
        return all.find("viewer-copy") != std::string::npos;
    };
    script_.isUpsideDown = true;
    bool wasMapped = false;
    script_.beforeReady = [&] { wasMapped = isMapped(); };
    EXPECT_NE(copy(), Pixels());
    EXPECT_TRUE(wasMapped);
    compositor_.pump();  // which gives back its own side
    EXPECT_FALSE(isMapped());
}

TEST_F(ViewerWlrootsCopyTest, APictureThatIsUpsideDownIsPutUpright) {
    script_.isUpsideDown = true;
    EXPECT_EQ(copy(), (Pixels{4, 5, 6, 1, 2, 3}));
}

TEST_F(ViewerWlrootsCopyTest, APictureOfATurnedOutputIsTurnedBack) {
    compositor_.whenBound = [this] { tellOutput(1); };
    EXPECT_EQ(copy(), (Pixels{4, 1, 5, 2, 6, 3}));
}

TEST_F(ViewerWlrootsCopyTest, EarlierVersionsOfferOneLayoutWithoutAnEnd) {
    for (const std::uint32_t version : {1U, 2U}) {
        script_.version = version;
        EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6})) << version;
        compositor_.removeOutput();
    }
}

TEST_F(ViewerWlrootsCopyTest, OfSeveralLayoutsOneThatIsReadIsTaken) {
    script_.layouts = {{WL_SHM_FORMAT_XRGB8888, 5 * 4}, {WL_SHM_FORMAT_RGB565, 3 * 2}};
    EXPECT_EQ(copy(), (Pixels{1, 2, 3, 4, 5, 6}));
}

TEST_F(ViewerWlrootsCopyTest, RowsThatAreTooShortForTheirPixelsAreNotRead) {
    script_.layouts = {{WL_SHM_FORMAT_XRGB8888, 2 * 4}};
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerWlrootsCopyTest, ACopyThatFailsIsNone) {
    script_.fails = true;
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerWlrootsCopyTest, ACompositorThatLeavesWithThePictureGivesNone) {
    script_.afterReady = [this] { compositor_.hangUp(); };
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerWlrootsCopyTest, ACompositorThatSharesNoMemoryIsNotAskedForACopy) {
    script_.hasMemory = false;
    EXPECT_EQ(copy(), Pixels());
    EXPECT_EQ(script_.copies, 0);
}

TEST_F(ViewerWlrootsCopyTest, WithoutMemoryToShareThereIsNoCopy) {
    const FilesThatCannotGrow files;
    EXPECT_EQ(copy(), Pixels());
    EXPECT_EQ(script_.copies, 1);
    EXPECT_EQ(script_.fillings, 0);
}

TEST_F(ViewerWlrootsCopyTest, WithoutMemoryToTurnThePictureInThereIsNoCopy) {
    script_.isUpsideDown = true;
    std::optional<FilesThatCannotGrow> files;
    script_.beforeReady = [&] { files.emplace(); };
    EXPECT_EQ(copy(), Pixels());
    EXPECT_EQ(script_.fillings, 1);
}

TEST_F(ViewerWlrootsCopyTest, AnOutputThatIsTurnedMeanwhileIsNotShownAsItWas) {
    script_.beforeReady = [this] { tellOutput(1); };
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerWlrootsCopyTest, ATurnThatIsToldAfterThePictureCountsToo) {
    script_.afterReady = [this] {
        compositor_.awaitClient();
        tellOutput(2);
    };
    EXPECT_EQ(copy(), Pixels());
}

TEST_F(ViewerWlrootsCopyTest, AnEqualOutputThatCameInItsPlaceIsNotCopied) {
    script_.addTo(compositor_.display());
    const ViewerWaylandOutput before = addOutput();
    compositor_.removeOutput();
    const ViewerWaylandOutput after = addOutput();
    ASSERT_EQ(after.connector, before.connector);

    EXPECT_EQ(copyOf(before), Pixels());
    EXPECT_NE(copyOf(after), Pixels());
}

}  // namespace
}  // namespace velmora
