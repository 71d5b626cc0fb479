#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/support/capture/ScriptedDisplayStream.h"

namespace velmora {

/// A platform with the displays, screens and streams that the test puts in. One thread.
class FakeScreenCapture final : public ViewerScreenCapture {
  public:
    FakeScreenCapture() = default;
    FakeScreenCapture(const FakeScreenCapture&) = delete;
    FakeScreenCapture& operator=(const FakeScreenCapture&) = delete;
    /// Drops every completion that is still held.
    ~FakeScreenCapture() override;

    bool preflightAccess() override { return isGranted; }
    void shareableDisplays(DisplaysCompletion completion) override;
    std::vector<ViewerNativeScreen> screens() override;
    /// Letter case counts for nothing, digits count by their value.
    bool comesBefore(const std::string& a, const std::string& b) override;
    std::shared_ptr<ViewerDisplayStream> makeStream(const ViewerNativeDisplay& display,
                                                    const ViewerStreamSettings& settings) override;

    /// Reports a new list from now on.
    void report(Displays displays);
    /// Answers the listing that has been held longest with what is reported now.
    void completeListing();

    bool isGranted = true;
    /// Null makes a listing fail.
    std::shared_ptr<const Displays> reported;
    std::vector<ViewerNativeScreen> attached;
    bool holdsListings = false;
    std::vector<DisplaysCompletion> heldListings;
    int listings = 0;
    int screenReadings = 0;
    int comparisons = 0;
    /// Replaces the comparison where it is set.
    std::function<bool(const std::string&, const std::string&)> comparison;
    /// Every stream ever made. A new one's course is changed by `direct` first, where it is set.
    std::vector<std::shared_ptr<ScriptedStreamCourse>> streams;
    std::function<void(ScriptedStreamCourse&)> direct;
};

}  // namespace velmora
