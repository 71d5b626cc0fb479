#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/capture/ViewerCaptureAccess.h"
#include "core/capture/ViewerPixelBuffer.h"
#include "core/runtime/ViewerContinuousClock.h"
#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// A display as the platform's capture service reports it. A plain value.
struct ViewerNativeDisplay final {
    friend bool operator==(const ViewerNativeDisplay&, const ViewerNativeDisplay&) = default;

    /// The platform's number for the display; where screens have names, it ties the two.
    std::uint32_t number = 0;
    /// The display's UUID as 36 characters of text, or nothing when the platform gives none.
    std::optional<std::string> uuidText;
    /// The display's size as the platform reports it.
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool isMain = false;
    /// The display's name, or nothing when it is the screens that have names.
    std::optional<std::string> name = std::nullopt;
    /// The platform's own object for the display, where it takes that to capture it.
    std::shared_ptr<const void> native = nullptr;
};

/// A screen of the desktop: the source of a display's name where its list has none. A plain value.
struct ViewerNativeScreen final {
    friend bool operator==(const ViewerNativeScreen&, const ViewerNativeScreen&) = default;

    /// The number of the display that the screen is on, or nothing when the platform gives none.
    std::optional<std::uint32_t> number;
    std::string name;
};

enum class ViewerStreamOutputType { screen, audio, other };

/// One delivery of a stream, raw: what the platform said of it, not yet judged.
struct ViewerStreamOutput final {
    /// The status of a frame that carries a new, complete picture. Others: 1 idle, 2 blank,
    /// 3 suspended, 4 started, 5 stopped.
    static constexpr std::int64_t completeStatus = 0;

    ViewerStreamOutputType type = ViewerStreamOutputType::screen;
    bool isValid = false;
    /// Whether the delivery has a list of attachments with at least one entry.
    bool hasAttachments = false;
    /// The first attachment's status, or nothing when it is missing or not an integer.
    std::optional<std::int64_t> status;
    /// The picture, or null when the delivery carries none.
    const ViewerPixelBuffer* pixels = nullptr;
};

/// Receives what a stream delivers. Held strongly by the stream until the stream is destroyed.
class ViewerStreamReceiver {
  public:
    virtual ~ViewerStreamReceiver() = default;
    /// Called one at a time, on the stream's own serial queue.
    virtual void streamDidOutput(const ViewerStreamOutput& output) = 0;
    /// The stream ended by itself. Any thread, also while the start is under way.
    virtual void streamDidStop() = 0;
};

/// How a display is captured. A plain value.
struct ViewerStreamSettings final {
    friend bool operator==(const ViewerStreamSettings&, const ViewerStreamSettings&) = default;

    /// Size of the delivered pictures in pixels.
    std::int64_t width = 0;
    std::int64_t height = 0;
    /// The least time between two pictures: `frameIntervalValue / frameIntervalTimescale` seconds.
    std::int64_t frameIntervalValue = 0;
    std::int32_t frameIntervalTimescale = 0;
    std::int64_t queueDepth = 0;
    /// Four-character code of the pixel format.
    std::uint32_t pixelFormat = 0;
    bool showsCursor = false;
    bool capturesAudio = false;
};

/// One capture of one display. A stream that is destroyed while running stops by itself.
class ViewerDisplayStream {
  public:
    /// Runs exactly once, on any thread, possibly before the call that was given it returns. The
    /// argument tells whether the operation succeeded.
    using Completion = std::function<void(bool succeeded)>;

    virtual ~ViewerDisplayStream() = default;

    /// Registers the receiver of screen frames and the queue it is called on, whose name is
    /// `queueLabel`. False when the platform refuses.
    virtual bool addOutput(std::shared_ptr<ViewerStreamReceiver> receiver,
                           std::string queueLabel) = 0;
    virtual void start(Completion completion) = 0;
    /// May be called during a start that has not completed, and again after that.
    virtual void stop(Completion completion) = 0;
};

/// The platform's screen capture. Outlives every stream it made; any thread unless said otherwise.
class ViewerScreenCapture {
  public:
    /// How long an answer of the platform is waited for. What waits for a person has no limit.
    static constexpr std::chrono::seconds answerLimit{4};
    /// How long a look at the permission is waited for: of the 3 seconds that the answer to
    /// `--check-permission` may take, some are the process's own.
    static constexpr std::chrono::milliseconds lookLimit{2500};

    using Displays = std::vector<ViewerNativeDisplay>;
    /// Receives the displays, or null when the platform reports an error. Runs exactly once, on any
    /// thread, possibly before `shareableDisplays` returns. An unchanged list may be passed again
    /// as the same object.
    using DisplaysCompletion = std::function<void(std::shared_ptr<const Displays>)>;

    using AccessCompletion = std::function<void(ViewerCaptureAccess)>;
    using RequestCompletion = std::function<void(bool isGranted)>;

    virtual ~ViewerScreenCapture() = default;

    /// Whether this process may record the screen, as far as is known: for a listing. Never asks
    /// the user, makes no round trip and never blocks.
    virtual bool preflightAccess() = 0;
    /// Looks whether this process may record the screen, without ever asking the user. The
    /// completion runs at most once, on any thread, possibly before the call returns, and also
    /// where no loop runs; never, where the platform hangs. Whoever waits for it does so for
    /// `lookLimit`, and takes no answer by then for `noAnswer`.
    virtual void lookAtAccess(AccessCompletion completion) = 0;
    /// Makes the system's own request for the permission, which may ask the user, and waits for the
    /// answer without a limit: for a permission that is requestable. The completion runs once, on
    /// any thread, possibly before the call returns; never, where the process ends before the user
    /// has answered.
    virtual void requestAccess(RequestCompletion completion) = 0;
    /// Takes back a request that waits for the user: the process is about to end. When this
    /// returns the system has been told, and asks no longer. Main thread; any number of times, also
    /// when there is no request.
    virtual void withdrawRequest() {}
    virtual void shareableDisplays(DisplaysCompletion completion) = 0;
    /// The displays where that takes no wait, else null. On the thread that asks for displays.
    virtual std::shared_ptr<const Displays> displaysAtHand() { return nullptr; }
    /// The attached screens. Asked for, on the main thread, only where the list of displays lacks
    /// names.
    virtual std::vector<ViewerNativeScreen> screens() { return {}; }
    /// A stream that is not started yet.
    virtual std::shared_ptr<ViewerDisplayStream> makeStream(
        const ViewerNativeDisplay& display, const ViewerStreamSettings& settings) = 0;
    /// Tells when the session whose screen this is has ended for good: `ended` runs once then, on
    /// the main thread, also if nobody ever asks for anything else. Called once, on the main
    /// thread, when the screen may be recorded. Never, where the system itself ends the
    /// applications of a session.
    virtual void watchSession(std::function<void()> ended) { (void)ended; }
    /// What a program needs in its environment, in place of what this process has there, to show
    /// its windows in the session whose screens these are: "NAME=value" each. Main thread.
    virtual std::vector<std::string> sessionVariables() { return {}; }
};

/// The platform's screen capture, defined once for each platform. `mainExecutor` is the main
/// thread's loop, `clock` tells its time.
std::shared_ptr<ViewerScreenCapture> makeScreenCapture(
    ViewerExecutor mainExecutor, std::shared_ptr<ViewerContinuousClock> clock);

}  // namespace velmora
