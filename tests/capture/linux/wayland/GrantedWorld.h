#pragma once

#include <fcntl.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/ViewerWaylandScreenCapture.h"
#include "tests/support/runtime/BorrowedClock.h"
#include "tests/support/runtime/SimulatedWorld.h"
#include "tests/support/wayland/FakeOutputs.h"
#include "tests/support/wayland/FakeScreenCast.h"
#include "tests/support/wayland/FakeScreenCastRemote.h"

namespace velmora {

/// A Wayland session in a simulated world: the capture under test between a desktop, a compositor
/// and a PipeWire that do what a test says. One thread.
class GrantedWorld final {
  public:
    using Displays = ViewerScreenCapture::Displays;

    explicit GrantedWorld(std::uint64_t seed = 1) : world(seed) {
        ViewerWaylandScreenCapture::Parts parts;
        parts.outputs = outputs;
        parts.screenCast = screenCast;
        parts.makeRemote = [this](int descriptor, std::function<void()> lost) {
            return makeRemote(descriptor, std::move(lost));
        };
        parts.copyOutput = [this](const ViewerWaylandOutput& output, const auto&) {
            copied.push_back(output);
            return true;
        };
        parts.drmFolder = "/nowhere";
        capture = std::make_shared<ViewerWaylandScreenCapture>(executor_, borrowedClock(world),
                                                               std::move(parts));
    }
    ~GrantedWorld() {
        capture.reset();
        answerAll();
        world.runToEnd();
    }
    GrantedWorld(const GrantedWorld&) = delete;
    GrantedWorld& operator=(const GrantedWorld&) = delete;

    /// A stream of the output of that name.
    static ViewerGrantedStream stream(std::uint32_t node, const std::string& connector) {
        ViewerGrantedStream result;
        result.node = node;
        result.sourceType = ViewerGrantedStream::monitor;
        result.mappingId = connector;
        return result;
    }
    /// A stream of which nothing is told but a size.
    static ViewerGrantedStream sizedStream(std::uint32_t node, std::int32_t width) {
        ViewerGrantedStream result = stream(node, "");
        result.size = ViewerLogicalSize{width, 1080};
        return result;
    }

    static std::vector<ViewerWaylandOutput> twoOutputs() {
        return {FakeOutputs::output(1, 0, 1920), FakeOutputs::output(2, 1920, 1280)};
    }
    static std::vector<ViewerGrantedStream> bothStreams() {
        return {stream(41, "DP-1"), stream(42, "DP-2")};
    }

    void request() {
        capture->requestAccess([this](bool isGranted) { answers.push_back(isGranted); });
        world.settle();
    }
    /// Lets whatever waits for a descriptor or for nodes have them.
    void answerAll() {
        for (const auto& each : std::exchange(screenCast->openings, {})) {
            each(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        }
        world.settle();
        for (const auto& remote : remotes) {
            for (const auto& each : std::exchange(remote->descriptions, {})) {
                each(nodes);
            }
        }
        world.settle();
    }
    /// The whole way to a grant of these.
    void grant(std::vector<ViewerGrantedStream> streams) {
        request();
        screenCast->allow(std::move(streams));
        world.settle();
        answerAll();
    }
    void renew(std::vector<ViewerGrantedStream> streams) {
        screenCast->renew(std::move(streams));
        world.settle();
        answerAll();
    }

    std::shared_ptr<const Displays> listed() const {
        std::shared_ptr<const Displays> result;
        capture->shareableDisplays([&](auto displays) { result = std::move(displays); });
        return result;
    }
    ViewerCaptureAccess access() const {
        std::optional<ViewerCaptureAccess> result;
        capture->lookAtAccess([&](ViewerCaptureAccess access) { result = access; });
        return result.value();
    }
    /// Makes a stream and starts it. False when it does not start.
    bool starts(const ViewerNativeDisplay& display) const {
        std::optional<bool> hasStarted;
        capture->makeStream(display, settings)->start([&](bool succeeded) {
            hasStarted = succeeded;
        });
        return hasStarted.value();
    }
    FakeRemoteCourse& remote() const { return *remotes.back(); }

    SimulatedWorld world;
    const std::shared_ptr<FakeOutputs> outputs = std::make_shared<FakeOutputs>();
    const std::shared_ptr<FakeScreenCast> screenCast = std::make_shared<FakeScreenCast>();
    std::shared_ptr<ViewerWaylandScreenCapture> capture;
    const ViewerStreamSettings settings{640, 360, 1, 25, 2, 0, false, false};
    /// What the request was answered.
    std::vector<bool> answers;
    /// Every connection to PipeWire that there ever was.
    std::vector<std::shared_ptr<FakeRemoteCourse>> remotes;
    /// What PipeWire tells of its nodes.
    std::optional<std::vector<ViewerStreamNode>> nodes = std::vector<ViewerStreamNode>();
    bool refusesRemotes = false;
    std::vector<ViewerWaylandOutput> copied;

  private:
    std::shared_ptr<ViewerScreenCastRemote> makeRemote(int descriptor, std::function<void()> lost) {
        auto course = std::make_shared<FakeRemoteCourse>();
        course->descriptor = descriptor;
        course->lost = std::move(lost);
        auto made = std::make_shared<FakeScreenCastRemote>(course);
        if (refusesRemotes) {
            return nullptr;
        }
        remotes.push_back(std::move(course));
        return made;
    }

    const ViewerExecutor executor_ = world.mainExecutor();
};

}  // namespace velmora
