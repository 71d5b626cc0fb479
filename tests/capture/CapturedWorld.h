#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/capture/MacDisplayCaptureSession.h"
#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerTask.h"
#include "tests/support/capture/FakeScreenCapture.h"
#include "tests/support/capture/PaintedPicture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/runtime/SpawnedAnswer.h"

namespace velmora {

using FrameAnswer = SpawnedAnswer<std::optional<ViewerHostFrame>>;

/// A capture session of one display over a fake platform in a simulated world.
struct CapturedWorld final {
    explicit CapturedWorld(ViewerNativeDisplay captured = {1, "A", 1920, 1080, true})
        : display(std::move(captured)) {}
    CapturedWorld(const CapturedWorld&) = delete;
    CapturedWorld& operator=(const CapturedWorld&) = delete;
    /// Lets requests that still look for a frame come to their end.
    ~CapturedWorld() { simulated.runToEnd(); }

    /// From now on streams start when the test says so.
    void holdStarts() {
        capture->direct = [](ScriptedStreamCourse& course) {
            course.startAnswer = ScriptedAnswer::hold;
        };
    }
    /// From now on streams start at once.
    void letStarts() { capture->direct = nullptr; }

    /// Asks for a frame and lets happen what needs no time.
    FrameAnswer ask() {
        FrameAnswer answer(simulated, session->latestFrame());
        simulated.settle();
        return answer;
    }
    /// Stops the session; the answer is there when the stop has returned.
    SpawnedAnswer<bool> stop() {
        SpawnedAnswer<bool> answer(simulated, stopAndTell(session));
        simulated.settle();
        return answer;
    }
    /// Starts the first stream, which delivers a picture at once.
    void captureFirst(std::uint8_t shade) {
        const auto answer = ask();
        stream().deliverPicture(shade);
        simulated.runToEnd();
        viewerCheck(answer.value().has_value(), "the session captures");
    }
    /// The newest stream that the session made, and any other by its number from 0.
    ScriptedStreamCourse& stream() { return *capture->streams.back(); }
    ScriptedStreamCourse& stream(std::size_t number) { return *capture->streams.at(number); }

    static ViewerTask<bool> stopAndTell(std::shared_ptr<MacDisplayCaptureSession> session) {
        co_await session->stop();
        co_return true;
    }

    SimulatedWorld simulated;
    ViewerNativeDisplay display;
    std::shared_ptr<FakeScreenCapture> capture = std::make_shared<FakeScreenCapture>();
    std::shared_ptr<MacDisplayCaptureSession> session = std::make_shared<MacDisplayCaptureSession>(
        display, capture, simulated, borrowedClock(simulated));
};

/// The number at the end of a frame's sequence label.
inline std::string counterOf(const std::optional<ViewerHostFrame>& frame) {
    const std::string label(frame ? frame->sequence : "-no frame");
    return label.substr(label.rfind('-') + 1);
}

/// Whether the answer is a frame that shows the picture of one shade.
inline bool shows(const FrameAnswer& answer, std::uint8_t shade) {
    return answer.isThere() && answer.value().has_value() &&
           answer.value()->jpeg == PaintedPicture(shade).jpeg();
}

/// Whether the request ended without a frame.
inline bool isEmpty(const FrameAnswer& answer) {
    return answer.isThere() && !answer.value().has_value();
}

}  // namespace velmora
