#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "viewerctl/ViewerDecodedPicture.h"
#include "viewerctl/ViewerKeyReader.h"
#include "viewerctl/ViewerTerminalMode.h"
#include "viewerctl/ViewerTerminalSize.h"
#include "viewerctl/ViewerTerminalText.h"
#include "viewerctl/ViewerWatchState.h"
#include "viewerctl/ViewerWatchText.h"

namespace velmora {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Wish = ViewerKey::Wish;

TEST(ViewerKeyReader, TellsKeysThatComeTogether) {
    ViewerKeyReader reader;
    EXPECT_THAT(reader.take("n\033[Dx7\033[Z"),
                ElementsAre(ViewerKey{Wish::next}, ViewerKey{Wish::previous},
                            ViewerKey{Wish::choose, 7}, ViewerKey{Wish::previous}));
    EXPECT_FALSE(reader.isWaiting());
}

TEST(ViewerKeyReader, TellsAKeyThatComesInPieces) {
    for (const std::string key : {"\033[C", "\033OC", "т"}) {
        ViewerKeyReader reader;
        for (const char byte : key.substr(0, key.size() - 1)) {
            EXPECT_THAT(reader.take({&byte, 1}), IsEmpty());
            EXPECT_TRUE(reader.isWaiting());
        }
        EXPECT_THAT(reader.take(key.substr(key.size() - 1)), ElementsAre(ViewerKey{Wish::next}));
    }
}

TEST(ViewerKeyReader, TakesEscapeForAKeyOnceNothingFollows) {
    ViewerKeyReader reader;
    EXPECT_THAT(reader.take("\033"), IsEmpty());
    EXPECT_TRUE(reader.isWaiting());
    EXPECT_THAT(reader.takeRest(), ElementsAre(ViewerKey{Wish::end}));
    EXPECT_FALSE(reader.isWaiting());
    EXPECT_THAT(reader.take("\033\033[C"),
                ElementsAre(ViewerKey{Wish::end}, ViewerKey{Wish::next}));
}

TEST(ViewerKeyReader, PassesOverWhatIsNoKeyAndKeepsLittleOfIt) {
    ViewerKeyReader reader;
    EXPECT_THAT(reader.take("\033[5~\033[1;5Pa0\033q\xff"), IsEmpty());
    (void)reader.takeRest();  // an unfinished character
    EXPECT_THAT(reader.take("\033[" + std::string(100'000, '0')), IsEmpty());
    EXPECT_FALSE(reader.isWaiting());
}

ViewerHostDisplay display(const std::string& id) {
    return {id, "Name of " + id, 1920, 1080};
}

ViewerHostDisplayListing listing(const std::vector<std::string>& ids) {
    std::vector<ViewerHostDisplay> displays;
    displays.reserve(ids.size());
    for (const std::string& id : ids) {
        displays.push_back(display(id));
    }
    return {"", 1, "Machine", displays};
}

ViewerHostFrame frame(const std::string& bytes, const std::string& label = "l") {
    return {ViewerBytes(bytes), label};
}

constexpr ViewerWatchState::TimePoint start{std::chrono::hours(100)};

TEST(ViewerWatchState, WatchesTheFirstDisplayUnlessOneWasChosen) {
    ViewerWatchState first;
    first.noteListing(listing({}));
    EXPECT_FALSE(first.display());
    first.noteListing(listing({"a", "b"}));
    EXPECT_EQ(first.number(), 1U);
    ViewerWatchState chosen;
    chosen.choose(display("b"));
    chosen.noteListing(listing({"a", "b"}));
    EXPECT_EQ(chosen.number(), 2U);
}

TEST(ViewerWatchState, HasNeighboursAroundTheEnds) {
    ViewerWatchState state;
    state.noteListing(listing({"a", "b", "c"}));
    EXPECT_EQ(state.neighbour(1)->id, "b");
    EXPECT_EQ(state.neighbour(-1)->id, "c");
    state.choose(display("c"));
    EXPECT_EQ(state.neighbour(1)->id, "a");
    EXPECT_EQ(state.numbered(1)->id, "a");
    EXPECT_FALSE(state.numbered(3));
    EXPECT_FALSE(state.numbered(4));
    state.noteListing(listing({"a", "b"}));
    EXPECT_EQ(state.number(), 0U);
    EXPECT_EQ(state.neighbour(1)->id, "a");
    EXPECT_EQ(state.neighbour(-1)->id, "b");
    state.choose(display("a"));
    state.noteListing(listing({"a"}));
    EXPECT_FALSE(state.neighbour(1));
}

TEST(ViewerWatchState, CountsTheAgeOfAPictureByItsBytes) {
    ViewerWatchState state;
    state.notePicture(frame("one", "l-1"), start);
    state.notePicture(frame("one", "m-1"), start + seconds(3));
    EXPECT_EQ(state.sameSince(), start);
    EXPECT_EQ(state.frame()->sequence, "m-1");
    EXPECT_EQ(state.pictureNumber(), 1U);
    state.notePicture(frame("two"), start + seconds(4));
    EXPECT_EQ(state.sameSince(), start + seconds(4));
    EXPECT_EQ(state.pictureNumber(), 2U);
}

TEST(ViewerWatchState, KeepsTheLastPictureAndTheBeginningOfATrouble) {
    ViewerWatchState state;
    state.notePicture(frame("one"), start);
    state.noteFailure(ViewerFailure::timedOut, start + seconds(1));
    state.noteFailure(ViewerFailure::timedOut, start + seconds(5));
    EXPECT_EQ(state.trouble()->since, start + seconds(1));
    EXPECT_TRUE(state.frame());
    state.noteFailure(ViewerFailure::refused, start + seconds(6));
    EXPECT_EQ(state.trouble()->since, start + seconds(6));
    state.notePicture(frame("one"), start + seconds(7));
    EXPECT_FALSE(state.trouble());
    EXPECT_EQ(state.sameSince(), start);
}

TEST(ViewerWatchState, StaysInTroubleWhileABadPictureStaysTheSame) {
    ViewerWatchState state;
    state.notePicture(frame("one"), start);
    state.noteBadPicture(state.pictureNumber(), start + seconds(1));
    state.notePicture(frame("one"), start + seconds(2));
    EXPECT_EQ(state.trouble()->since, start + seconds(1));
    state.notePicture(frame("two"), start + seconds(3));
    EXPECT_FALSE(state.trouble());
    state.noteBadPicture(1, start + seconds(4));
    EXPECT_FALSE(state.trouble());
}

TEST(ViewerWatchState, ForgetsWhatItSawOfAnotherDisplay) {
    ViewerWatchState state;
    state.notePicture(frame("one"), start);
    state.noteFailure(ViewerFailure::timedOut, start);
    const auto choice = state.choice();
    state.choose(display("b"));
    EXPECT_FALSE(state.frame());
    EXPECT_FALSE(state.trouble());
    EXPECT_NE(state.choice(), choice);
}

TEST(ViewerWatchState, TellsTheRateOfThePicturesThatCameLately) {
    ViewerWatchState state;
    EXPECT_EQ(state.rate(start), 0);
    state.notePicture(frame("one"), start - milliseconds(10));
    state.notePicture(frame("one"), start);
    EXPECT_EQ(state.rate(start), 0);
    for (int i = 0; i <= 100; ++i) {
        state.notePicture(frame("one"), start + milliseconds(100 * i));
    }
    EXPECT_NEAR(state.rate(start + seconds(10)), 10, 0.01);
    EXPECT_NEAR(state.rate(start + seconds(14)), 10, 0.01);
    EXPECT_EQ(state.rate(start + seconds(16)), 0);
}

/// Texts in both languages, at noon.
class ViewerWatchTextTest : public testing::Test {
  protected:
    ViewerWatchTextTest() {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread.
        ::setenv("TZ", "UTC", 1);
        ::tzset();
        state_.noteListing(listing({"a", "b"}));
    }

    std::string status(std::size_t columns = 200, bool isPaused = false) {
        const ViewerWatchText::Now now{
            start + seconds(65), std::chrono::system_clock::time_point(std::chrono::hours(12))};
        return ViewerWatchText::status(state_, isPaused, console_, now, columns);
    }

    ViewerWatchState state_;
    ViewerConsole console_{ViewerLanguage::english(), std::cout, std::cerr};
    ViewerConsole russian_{ViewerLanguage::russian(), std::cout, std::cerr};
};

TEST_F(ViewerWatchTextTest, TellsAgeRateAndLabel) {
    EXPECT_EQ(status(), "no picture yet · 0.0 pictures/s");
    state_.notePicture(frame("one", "run-capture-17"), start);
    EXPECT_EQ(status(), "same picture for 1 min 5 s · 0.0 pictures/s · run-capture-17");
    EXPECT_EQ(status(50), "same picture for 1 min 5 s · 0.0 pictures/s · …-17");
    EXPECT_EQ(status(20), "same picture for 1 …");
    EXPECT_EQ(status(200, true), "paused · " + status());
    state_.notePicture(frame("two", "run-capture-18"), start + milliseconds(64'100));
    EXPECT_EQ(status().substr(0, 11), "new picture");
}

TEST_F(ViewerWatchTextTest, TellsATroubleWithItsTimeAndThatThePictureIsOld) {
    state_.notePicture(frame("one", "r-c-1"), start);
    state_.noteFailure(ViewerFailure::timedOut, start + seconds(60));
    EXPECT_EQ(status(),
              "timed out since 11:59:55 (5 s) · old picture, the same for 1 min 5 s · "
              "0.0 pictures/s · r-c-1");
}

TEST_F(ViewerWatchTextTest, TellsNoAgeOfAPictureThatCannotBeShown) {
    state_.notePicture(frame("one", "r-c-1"), start);
    state_.noteBadPicture(state_.pictureNumber(), start + seconds(60));
    EXPECT_EQ(status(),
              "sent a picture that cannot be shown safely since 11:59:55 (5 s) · "
              "0.0 pictures/s · r-c-1");
}

TEST_F(ViewerWatchTextTest, NamesHostAndDisplaySafely) {
    state_.choose({"b", "\033[2J", 800, 600});
    EXPECT_EQ(ViewerWatchText::title({"studio", 9090}, state_, console_, 80),
              "studio · Machine · 2/2 \uFFFD[2J · 800 × 600");
    EXPECT_EQ(ViewerWatchText::title({"studio", 9090}, {}, russian_, 80),
              "studio ·  · дисплеев нет");
}

TEST_F(ViewerWatchTextTest, TellsDurations) {
    using ViewerWatchText::duration;
    EXPECT_EQ(duration(seconds(0), console_), "0 s");
    EXPECT_EQ(duration(seconds(3599), console_), "59 min 59 s");
    EXPECT_EQ(duration(seconds(7300), console_), "2 h 1 min");
    EXPECT_EQ(duration(seconds(7300), russian_), "2 ч 1 мин");
}

TEST(ViewerTerminalText, IsCutWhereItDoesNotFit) {
    using ViewerTerminalText::cut;
    EXPECT_EQ(cut("äöü", 3), "äöü");
    EXPECT_EQ(cut("äöü", 2), "ä…");
    EXPECT_EQ(cut("äöü", 1), "…");
    EXPECT_EQ(cut("äöü", 0), "");
}

/// A JPEG of one colour.
std::string jpegOf(int width, int height, std::array<std::uint8_t, 3> colour) {
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < width * height; ++i) {
        pixels.insert(pixels.end(), colour.begin(), colour.end());
    }
    const tjhandle encoder = ::tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(::tjCompress2(encoder, pixels.data(), width, 0, height, TJPF_RGB, &jpeg, &size,
                            TJSAMP_444, 95, 0),
              0);
    const std::string bytes(jpeg, jpeg + size);
    ::tjFree(jpeg);
    ::tjDestroy(encoder);
    return bytes;
}

TEST(ViewerDecodedPicture, IsNoLargerThanItIsWanted) {
    const ViewerBytes jpeg(jpegOf(640, 360, {192, 32, 64}));
    const auto whole = ViewerDecodedPicture::decode(jpeg.span(), 2000, 2000);
    EXPECT_EQ(whole->width, 640);
    EXPECT_EQ(whole->height, 360);
    const auto small = ViewerDecodedPicture::decode(jpeg.span(), 160, 50);
    EXPECT_EQ(small->width, 160);
    EXPECT_EQ(small->height, 90);
    EXPECT_EQ(small->pixels.size(), 160U * 90U * 3U);
    EXPECT_NEAR(small->pixels[0], 192, 4);
    EXPECT_NEAR(small->pixels[1], 32, 4);
    EXPECT_NEAR(small->pixels[2], 64, 4);
}

TEST(ViewerDecodedPicture, IsNothingWhereTheBytesAreBroken) {
    const std::string jpeg = jpegOf(640, 360, {192, 32, 64});
    for (const std::size_t length : {std::size_t{0}, std::size_t{20}, jpeg.size() / 2}) {
        const ViewerBytes cut(jpeg.substr(0, length));
        EXPECT_FALSE(ViewerDecodedPicture::decode(cut.span(), 2000, 2000)) << length;
    }
}

TEST(ViewerDecodedPicture, IsHalfAsBrightWhenItIsDimmed) {
    ViewerDecodedPicture picture{1, 1, {255, 100, 0}};
    picture.dim();
    EXPECT_THAT(picture.pixels, ElementsAre(127, 50, 0));
}

/// A terminal that nobody looks at.
class ViewerTerminalModeTest : public testing::Test {
  protected:
    ViewerTerminalModeTest() {
        winsize size{24, 100, 1000, 480};
        EXPECT_EQ(::openpty(&ours_, &theirs_, nullptr, nullptr, &size), 0);
        EXPECT_EQ(::tcgetattr(theirs_, &before_), 0);
    }
    void TearDown() override {
        ::close(ours_);
        ::close(theirs_);
    }

    /// What has come until it ends so: what is written arrives some time after.
    std::string shownUntil(std::string_view end) const {
        std::string text;
        std::array<char, 4096> bytes{};
        ssize_t length = 1;
        while (!text.ends_with(end) && length > 0) {
            length = ::read(ours_, bytes.data(), bytes.size());
            text.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        }
        return text;
    }

    tcflag_t localFlags() const {
        termios now{};
        EXPECT_EQ(::tcgetattr(theirs_, &now), 0);
        return now.c_lflag;
    }

    int ours_ = -1;
    int theirs_ = -1;
    termios before_{};
};

TEST_F(ViewerTerminalModeTest, IsGivenBackWhenAnExceptionPasses) {
    try {
        ViewerTerminalMode mode(theirs_);
        mode.enter();
        EXPECT_EQ(localFlags() & (ICANON | ECHO | ISIG), static_cast<tcflag_t>(ISIG));
        EXPECT_EQ(shownUntil("J"), "\033[?1049h\033[?25l\033[2J");
        throw std::runtime_error("");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(localFlags(), before_.c_lflag);
        EXPECT_EQ(shownUntil("1049l"), "\033\\\033[?2026l\033[0m\033[?25h\033[?1049l");
    }
}

TEST_F(ViewerTerminalModeTest, IsGivenBackOnce) {
    ViewerTerminalMode mode(theirs_);
    mode.enter();
    mode.enter();
    mode.leave();
    (void)shownUntil("1049l");  // looked at above
    mode.leave();
    EXPECT_EQ(::write(theirs_, "!", 1), 1);
    EXPECT_EQ(shownUntil("!"), "!");
}

TEST_F(ViewerTerminalModeTest, IsOfATerminalAlone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    EXPECT_THROW(ViewerTerminalMode{ends[0]}, std::system_error);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(ViewerTerminalModeTest, HasASizeInCellsAndPixels) {
    const auto size = ViewerTerminalSize::of(theirs_);
    EXPECT_EQ(size, (ViewerTerminalSize{100, 24, 10, 20}));
    winsize silent{50, 70, 0, 0};
    ASSERT_EQ(::ioctl(ours_, TIOCSWINSZ, &silent), 0);
    EXPECT_EQ(ViewerTerminalSize::of(theirs_), (ViewerTerminalSize{70, 50, 10, 20}));
    winsize none{};
    ASSERT_EQ(::ioctl(ours_, TIOCSWINSZ, &none), 0);
    EXPECT_EQ(ViewerTerminalSize::of(theirs_), ViewerTerminalSize());
}

}  // namespace

}  // namespace velmora
