#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tests/support/system/TemporaryFolder.h"

struct wl_display;

namespace velmora {

/// A compositor that has nothing but outputs, of the protocol versions that a test wants, and tells
/// of them what and when the test wants. It does its work inside `pump`. One thread.
class ScriptedCompositor final {
  public:
    /// 0 stands for a piece of the protocol that it does not have.
    struct Versions final {
        std::uint32_t output = 4;
        std::uint32_t xdgOutput = 3;
    };

    explicit ScriptedCompositor(Versions versions);
    ~ScriptedCompositor();
    ScriptedCompositor(const ScriptedCompositor&) = delete;
    ScriptedCompositor& operator=(const ScriptedCompositor&) = delete;

    const std::string& socketPath() const { return socketPath_; }
    wl_display* display() const;
    /// Takes in what clients ask, and sends what was told.
    void pump();

    /// Sends what was told, and waits until who listens to the output says something or leaves.
    void awaitClient();

    /// Sends what was told, and ends the connection of who listens to the output.
    void hangUp();
    /// Tells who listens to the output that it has done something wrong.
    void objectToClient();

    /// Adds an output that tells nothing by itself to those who bind it, unless `whenBound` does.
    void addOutput();
    void removeOutput();
    /// Whether somebody listens to the output, and to what `xdg_output` adds to it.
    bool isBound() const;
    bool isXdgBound() const;
    /// The version of the output that they speak. REQUIRES: somebody listens.
    int boundVersion() const;

    // The events of the one output.
    void geometry(std::int32_t x, std::int32_t y, const std::string& make, const std::string& model,
                  std::int32_t transform);
    void mode(bool isCurrent, std::int32_t width, std::int32_t height);
    void scale(std::int32_t factor);
    void name(const std::string& text);
    void done();
    void xdgPosition(std::int32_t x, std::int32_t y);
    void xdgSize(std::int32_t width, std::int32_t height);
    void xdgName(const std::string& text);
    void xdgDone();

    std::function<void()> whenBound = [] {};

  private:
    struct Native;

    const TemporaryFolder folder_;
    const std::string socketPath_;
    const std::unique_ptr<Native> native_;
};

}  // namespace velmora
