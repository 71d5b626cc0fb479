#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"
#include "tests/mac/frameworks/imaging/Raster.h"
#include "tests/mac/frameworks/screen/ScreenScript.h"

namespace velmora {

/// One delivery of a stream.
struct FakeSample final {
    enum class Attachments { none, empty, notDictionaries, dictionaries };

    long type = 0;
    bool isValid = true;
    Attachments attachments = Attachments::dictionaries;
    ScreenScript::Value status = std::int64_t(0);
    std::optional<Raster> picture;
};

/// A stream of ScreenCaptureKit's, seen from the system. Shared by the object that the program sees
/// and the test. Any thread.
class FakeStream final : public std::enable_shared_from_this<FakeStream> {
  public:
    /// As the stream was given them.
    struct Settings final {
        std::uint32_t display = 0;
        std::size_t excludedWindows = 0;
        std::size_t width = 0;
        std::size_t height = 0;
        std::int64_t intervalValue = 0;
        std::int32_t intervalTimescale = 0;
        long queueDepth = 0;
        std::uint32_t pixelFormat = 0;
        bool showsCursor = false;
        bool capturesAudio = false;
    };
    using Completion = std::function<void(bool succeeded)>;
    using Output = std::function<void(const FakeSample& sample)>;

    // What the program does.

    void setSettings(Settings settings) { settings_ = settings; }
    void setDelegate(std::function<void()> didStop) { didStop_ = std::move(didStop); }
    void addOutput(long type, DispatchWorld::QueuePointer queue, Output output);
    void start(Completion completion);
    void stop(Completion completion);
    /// The last reference is gone.
    void drop();

    // What the test does and sees.

    /// Puts a delivery on the output's queue.
    void deliver(FakeSample sample);
    void deliver(const Raster& picture);
    /// The system ends the stream, and tells so on a thread of its own.
    void stopBySystem();
    /// Completes what was left open by an answer of none.
    void completeStart(bool succeeded);
    void completeStop(bool succeeded);

    const Settings& settings() const { return settings_; }
    bool isCapturing() const;
    bool isDropped() const;
    int starts() const;
    int stops() const;
    long outputType() const { return outputType_; }

  private:
    void answer(ScreenScript::Answer answer, Completion completion, Completion& open);
    static void complete(Completion completion, bool succeeded);

    // Set before the start, by the program's one thread at a time.
    Settings settings_;
    std::function<void()> didStop_;
    long outputType_ = -1;
    DispatchWorld::QueuePointer outputQueue_;
    Output output_;

    mutable std::mutex lock_;
    // Guarded by `lock_`.
    Completion openStart_;
    Completion openStop_;
    bool isCapturing_ = false;
    bool isDropped_ = false;
    int starts_ = 0;
    int stops_ = 0;
};

}  // namespace velmora
