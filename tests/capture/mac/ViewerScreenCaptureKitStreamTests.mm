#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/capture/mac/ScreenTest.h"

// One display's stream through ScreenCaptureKit.

namespace velmora {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t bgra = 0x42475241;

/// Keeps what a stream delivers.
class RecordingReceiver final : public ViewerStreamReceiver {
  public:
    void streamDidOutput(const ViewerStreamOutput& output) override {
        outputs.push_back(output);
        if (output.pixels != nullptr) {
            sizes.emplace_back(output.pixels->width, output.pixels->height);
        }
    }
    void streamDidStop() override { ++stops; }

    /// Their pixels are gone.
    std::vector<ViewerStreamOutput> outputs;
    std::vector<std::pair<std::int64_t, std::int64_t>> sizes;
    std::atomic<int> stops{0};
};

class ViewerScreenCaptureKitStream : public ScreenTest {
  protected:
    void SetUp() override {
        ScreenTest::SetUp();
        ScreenScript::Display display;
        display.number = 7;
        display.width = 1920;
        display.height = 1080;
        script_.displays = {display};
    }
    void TearDown() override {
        receiver_ = nullptr;
        stream_ = nullptr;
        ScreenTest::TearDown();
    }

    /// Makes the stream and gives it the receiver; whether that was accepted.
    bool prepare(const ViewerStreamSettings& settings = {}) {
        stream_ = capture_->makeStream((**list())[0], settings);
        return stream_->addOutput(receiver_, "com.quilmer.velmora.viewer-host.capture.7");
    }
    void start() {
        stream_->start([this](bool succeeded) { starts_.push_back(succeeded); });
    }
    void stop() {
        stream_->stop([this](bool succeeded) { stops_.push_back(succeeded); });
    }
    void run() {
        ASSERT_TRUE(prepare());
        start();
        world_.settle();
        ASSERT_THAT(starts_, ElementsAre(true));
    }

    std::shared_ptr<RecordingReceiver> receiver_ = std::make_shared<RecordingReceiver>();
    std::shared_ptr<ViewerDisplayStream> stream_;
    std::vector<bool> starts_;
    std::vector<bool> stops_;
};

TEST_F(ViewerScreenCaptureKitStream, TheSettingsReachTheSystemAsTheyAre) {
    ViewerStreamSettings settings;
    settings.width = 640;
    settings.height = 360;
    settings.frameIntervalValue = 1;
    settings.frameIntervalTimescale = 25;
    settings.queueDepth = 2;
    settings.pixelFormat = bgra;
    ASSERT_TRUE(prepare(settings));
    const FakeStream::Settings& given = stream()->settings();
    EXPECT_EQ(given.display, 7U);
    EXPECT_EQ(given.excludedWindows, 0U);
    EXPECT_EQ(given.width, 640U);
    EXPECT_EQ(given.height, 360U);
    EXPECT_EQ(given.intervalValue, 1);
    EXPECT_EQ(given.intervalTimescale, 25);
    EXPECT_EQ(given.queueDepth, 2);
    EXPECT_EQ(given.pixelFormat, bgra);
    EXPECT_FALSE(given.showsCursor);
    EXPECT_FALSE(given.capturesAudio);
}

TEST_F(ViewerScreenCaptureKitStream, TheCursorAndSoundAreWhatTheSettingsSay) {
    ViewerStreamSettings settings;
    settings.showsCursor = true;
    settings.capturesAudio = true;
    ASSERT_TRUE(prepare(settings));
    EXPECT_TRUE(stream()->settings().showsCursor);
    EXPECT_TRUE(stream()->settings().capturesAudio);
}

TEST_F(ViewerScreenCaptureKitStream, TheReceiverGetsScreenFramesOnAQueueOfItsOwn) {
    ASSERT_TRUE(prepare());
    EXPECT_EQ(stream()->outputType(), 0);
    EXPECT_THAT(world_.queuesMade(), ElementsAre(DispatchWorld::QueueFacts{
                                         "com.quilmer.velmora.viewer-host.capture.7", 0x19}));
    EXPECT_EQ(stream()->starts(), 0);
}

TEST_F(ViewerScreenCaptureKitStream, AReceiverThatIsRefusedIsRefused) {
    script_.refusesOutputs = true;
    EXPECT_FALSE(prepare());
}

TEST_F(ViewerScreenCaptureKitStream, AStartSucceedsOrFailsOnce) {
    for (const auto answer : {ScreenScript::Answer::success, ScreenScript::Answer::error}) {
        script_.starting = answer;
        starts_.clear();
        ASSERT_TRUE(prepare());
        start();
        EXPECT_THAT(starts_, IsEmpty());
        world_.settle();
        EXPECT_THAT(starts_, ElementsAre(answer == ScreenScript::Answer::success));
        stream_ = nullptr;
    }
}

TEST_F(ViewerScreenCaptureKitStream, AStartMayCompleteBeforeTheCallReturns) {
    ASSERT_TRUE(prepare());
    script_.answersAtOnce = true;
    start();
    EXPECT_THAT(starts_, ElementsAre(true));
}

TEST_F(ViewerScreenCaptureKitStream, AStopSucceedsOrFailsOnce) {
    for (const auto answer : {ScreenScript::Answer::success, ScreenScript::Answer::error}) {
        script_.stopping = answer;
        starts_.clear();
        stops_.clear();
        run();
        stop();
        world_.settle();
        EXPECT_THAT(stops_, ElementsAre(answer == ScreenScript::Answer::success));
        EXPECT_FALSE(stream()->isCapturing());
        stream_ = nullptr;
        script_.made.clear();
    }
}

TEST_F(ViewerScreenCaptureKitStream, AStopIsPossibleDuringAStartAndAgainAfterIt) {
    script_.starting = ScreenScript::Answer::none;
    ASSERT_TRUE(prepare());
    start();
    stop();
    world_.settle();
    EXPECT_THAT(stops_, ElementsAre(true));
    stream()->completeStart(true);
    world_.settle();
    EXPECT_THAT(starts_, ElementsAre(true));
    stop();
    world_.settle();
    EXPECT_THAT(stops_, ElementsAre(true, true));
    EXPECT_EQ(stream()->stops(), 2);
}

TEST_F(ViewerScreenCaptureKitStream, CompletionsThatNeverComeKeepNothingOnceTheStreamIsGone) {
    script_.starting = ScreenScript::Answer::none;
    script_.stopping = ScreenScript::Answer::none;
    const auto held = std::make_shared<int>(1);
    ASSERT_TRUE(prepare());
    stream_->start([held](bool) {});
    stream_->stop([held](bool) {});
    world_.settle();
    EXPECT_EQ(held.use_count(), 3);
    stream_ = nullptr;
    world_.settle();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ViewerScreenCaptureKitStream, ALateCompletionFindsTheStreamGone) {
    script_.starting = ScreenScript::Answer::none;
    ASSERT_TRUE(prepare());
    start();
    const auto fake = stream();
    stream_ = nullptr;
    world_.settle();
    fake->completeStart(true);
    world_.settle();
    EXPECT_THAT(starts_, ElementsAre(true));
    EXPECT_TRUE(fake->isDropped());
}

/// A frame's facts and what has to become of them.
struct Facts final {
    const char* name;
    FakeSample sample;
    ViewerStreamOutputType type;
    bool isValid;
    bool hasAttachments;
    std::optional<std::int64_t> status;
    bool hasPixels;
};

class ViewerScreenCaptureKitStreamFacts : public ViewerScreenCaptureKitStream,
                                          public testing::WithParamInterface<Facts> {};

TEST_P(ViewerScreenCaptureKitStreamFacts, ReachTheReceiverUnjudged) {
    const Facts& facts = GetParam();
    run();
    stream()->deliver(facts.sample);
    world_.settle();
    ASSERT_EQ(receiver_->outputs.size(), 1U);
    const ViewerStreamOutput& output = receiver_->outputs.front();
    EXPECT_EQ(output.type, facts.type);
    EXPECT_EQ(output.isValid, facts.isValid);
    EXPECT_EQ(output.hasAttachments, facts.hasAttachments);
    EXPECT_EQ(output.status, facts.status);
    EXPECT_EQ(output.pixels != nullptr, facts.hasPixels);
}

const Raster picture = Raster::filled(64, 36, 0x112233);

Facts complete() {
    return {"Complete",
            {.picture = picture},
            ViewerStreamOutputType::screen,
            true,
            true,
            ViewerStreamOutput::completeStatus,
            true};
}

Facts withStatus(const char* name, ScreenScript::Value status,
                 std::optional<std::int64_t> expected) {
    Facts facts = complete();
    facts.name = name;
    facts.sample.status = std::move(status);
    facts.status = expected;
    return facts;
}

Facts withType(const char* name, long type, ViewerStreamOutputType expected) {
    Facts facts = complete();
    facts.name = name;
    facts.sample.type = type;
    facts.type = expected;
    return facts;
}

Facts withAttachments(const char* name, FakeSample::Attachments attachments) {
    Facts facts = complete();
    facts.name = name;
    facts.sample.attachments = attachments;
    facts.hasAttachments = false;
    facts.status = std::nullopt;
    return facts;
}

Facts invalid() {
    Facts facts = complete();
    facts.name = "Invalid";
    facts.sample.isValid = false;
    facts.isValid = false;
    return facts;
}

Facts withoutPicture() {
    Facts facts = complete();
    facts.name = "IdleWithoutPicture";
    facts.sample.status = std::int64_t(1);
    facts.status = 1;
    facts.sample.picture = std::nullopt;
    facts.hasPixels = false;
    return facts;
}

INSTANTIATE_TEST_SUITE_P(
    Each, ViewerScreenCaptureKitStreamFacts,
    testing::Values(complete(), invalid(), withoutPicture(), withStatus("Idle", std::int64_t(1), 1),
                    withStatus("Blank", std::int64_t(2), 2),
                    withStatus("Suspended", std::int64_t(3), 3),
                    withStatus("Started", std::int64_t(4), 4),
                    withStatus("Stopped", std::int64_t(5), 5),
                    withStatus("OfALaterSystem", std::int64_t(-77), -77),
                    withStatus("WithoutStatus", {}, std::nullopt),
                    withStatus("TextAsStatus", std::string("0"), std::nullopt),
                    withStatus("FractionAsStatus", 0.5, std::nullopt),
                    withStatus("WholeFractionAsStatus", 0.0, 0),
                    withType("Audio", 1, ViewerStreamOutputType::audio),
                    withType("Microphone", 2, ViewerStreamOutputType::other),
                    withAttachments("WithoutAttachments", FakeSample::Attachments::none),
                    withAttachments("EmptyAttachments", FakeSample::Attachments::empty),
                    withAttachments("OtherAttachments", FakeSample::Attachments::notDictionaries)),
    [](const auto& info) { return info.param.name; });

TEST_F(ViewerScreenCaptureKitStream, APictureHasTheSizeOfItsBuffer) {
    run();
    stream()->deliver(Raster::filled(554, 360, 0));
    world_.settle();
    EXPECT_THAT(receiver_->sizes, ElementsAre(std::pair(554, 360)));
}

TEST_F(ViewerScreenCaptureKitStream, TheStopNoticeComesOnAnyThreadAndEndsTheCapture) {
    run();
    const DispatchThreads threads;
    stream()->stopBySystem();
    EXPECT_TRUE(world_.settleUntil([this] { return receiver_->stops == 1; }));
    // The stream is not asked to stop what has stopped by itself.
    const auto fake = stream();
    stream_ = nullptr;
    world_.settle();
    EXPECT_EQ(fake->stops(), 0);
    EXPECT_TRUE(fake->isDropped());
}

TEST_F(ViewerScreenCaptureKitStream, AStopNoticeMayComeDuringTheStart) {
    script_.starting = ScreenScript::Answer::none;
    ASSERT_TRUE(prepare());
    start();
    stream()->stopBySystem();
    world_.settle();
    EXPECT_EQ(receiver_->stops, 1);
    stream()->completeStart(false);
    world_.settle();
    EXPECT_THAT(starts_, ElementsAre(false));
}

TEST_F(ViewerScreenCaptureKitStream, OneThatIsDestroyedWhileCapturingStops) {
    run();
    const auto fake = stream();
    stream_ = nullptr;
    world_.settle();
    EXPECT_EQ(fake->stops(), 1);
    EXPECT_TRUE(fake->isDropped());
    fake->deliver(picture);
    fake->stopBySystem();
    world_.settle();
    EXPECT_THAT(receiver_->outputs, IsEmpty());
    EXPECT_EQ(receiver_->stops, 0);
}

TEST_F(ViewerScreenCaptureKitStream, OneThatNeverStartedOrFailedToIsNotStopped) {
    ASSERT_TRUE(prepare());
    const auto prepared = stream();
    script_.starting = ScreenScript::Answer::error;
    start();
    world_.settle();
    stream_ = nullptr;
    EXPECT_EQ(prepared->stops(), 0);
    script_.made.clear();
    ASSERT_TRUE(prepare());
    const auto fake = stream();
    stream_ = nullptr;
    EXPECT_EQ(fake->stops(), 0);
}

TEST_F(ViewerScreenCaptureKitStream, TheStreamHoldsItsReceiverUntilItIsDestroyed) {
    const std::weak_ptr<RecordingReceiver> weak = receiver_;
    run();
    receiver_ = nullptr;
    stream()->deliver(picture);
    world_.settle();
    EXPECT_FALSE(weak.expired());
    stream_ = nullptr;
    world_.settle();
    EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace velmora
