#pragma once

#include <unistd.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "tests/support/capture/ScriptedDisplayStream.h"

namespace velmora {

/// What was asked of one connection to PipeWire. Outlives the connection, so that a test can look
/// at it and let late things happen. One thread.
struct FakeRemoteCourse final {
    using Nodes = ViewerScreenCastRemote::Nodes;

    struct Stream final {
        ViewerGrantedStream granted;
        bool hasStill = false;
        ViewerScreenCastRemote::StillPicture still;
        std::shared_ptr<ScriptedStreamCourse> course;
    };

    /// The connection breaks and says so, unless it is gone.
    void lose() {
        if (!isDestroyed && lost) {
            std::exchange(lost, nullptr)();
        }
    }

    int descriptor = -1;
    std::function<void()> lost;
    /// Those who wait for the nodes.
    std::vector<Nodes> descriptions;
    std::vector<Stream> streams;
    /// The nodes whose outputs have become another size, and which.
    std::vector<std::pair<std::uint32_t, ViewerWaylandOutput::PixelSize>> resizes;
    bool hasEndedStreams = false;
    bool isDestroyed = false;
};

/// A connection to a PipeWire that does what its course says. One thread.
class FakeScreenCastRemote final : public ViewerScreenCastRemote {
  public:
    explicit FakeScreenCastRemote(std::shared_ptr<FakeRemoteCourse> course)
        : course_(std::move(course)) {}
    ~FakeScreenCastRemote() override {
        course_->isDestroyed = true;
        ::close(course_->descriptor);
    }
    FakeScreenCastRemote(const FakeScreenCastRemote&) = delete;
    FakeScreenCastRemote& operator=(const FakeScreenCastRemote&) = delete;

    void describe(Nodes nodes) override { course_->descriptions.push_back(std::move(nodes)); }
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerGrantedStream& stream,
                                                    const ViewerStreamSettings& settings,
                                                    StillPicture still) override {
        auto course = std::make_shared<ScriptedStreamCourse>();
        course->settings = settings;
        const bool hasStill = still != nullptr;
        course_->streams.push_back({stream, hasStill, std::move(still), course});
        return std::make_shared<ScriptedDisplayStream>(course);
    }
    void outputHasResized(const ViewerGrantedStream& stream,
                          ViewerWaylandOutput::PixelSize size) override {
        course_->resizes.emplace_back(stream.node, size);
    }
    void endStreams() override { course_->hasEndedStreams = true; }

  private:
    const std::shared_ptr<FakeRemoteCourse> course_;
};

}  // namespace velmora
