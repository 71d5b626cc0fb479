#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/desktop/painter/SharedPicture.h"
#include "xdg-output-unstable-v1-client-protocol.h"
#include "xdg-shell-client-protocol.h"

namespace velmora {

/// A window that fills one output of a compositor, whenever the output is there, and goes with it.
/// One thread, in which the display is dispatched.
class OutputWindow final {
  public:
    /// The output is called by its connector.
    OutputWindow(wl_display* display, std::string output);
    ~OutputWindow();
    OutputWindow(const OutputWindow&) = delete;
    OutputWindow& operator=(const OutputWindow&) = delete;

    /// Paints a part, in the output's logical pixels: with one colour, or from a picture of the
    /// part's size, begun `offset` rows further down.
    void fill(const ViewerRectangle& part, std::uint32_t colour);
    void put(const ViewerRectangle& part, const std::vector<std::uint32_t>& picture,
             std::int64_t offset);
    /// Runs `shown` once the compositor has drawn all that was painted before.
    void whenShown(std::function<void()> shown);
    ViewerRectangle whole() const;
    /// Shows what was painted, unless something is being shown. To be called again once the
    /// display was dispatched.
    void present();

  private:
    struct Output final {
        OutputWindow* window = nullptr;
        std::uint32_t global = 0;
        wl_output* handle = nullptr;
        zxdg_output_v1* more = nullptr;
        std::string name = {};
        std::int32_t scale = 1;
        std::int32_t x = 0;
        std::int32_t y = 0;
        bool hasMoved = false;
    };

    void addGlobal(std::uint32_t global, const std::string& interface);
    void removeGlobal(std::uint32_t global);
    void askForName(Output& output);
    void outputIsTold(Output& output);
    void open(Output& output);
    void close();
    void resize(std::int32_t width, std::int32_t height);
    void listen();
    void listenTo(Output& output);

    wl_display* const display_;
    const std::string wanted_;
    wl_registry* registry_ = nullptr;
    wl_compositor* compositor_ = nullptr;
    wl_shm* memory_ = nullptr;
    xdg_wm_base* shell_ = nullptr;
    zxdg_output_manager_v1* names_ = nullptr;
    std::map<std::uint32_t, std::unique_ptr<Output>> outputs_;

    const Output* shownOn_ = nullptr;
    wl_surface* surface_ = nullptr;
    xdg_surface* role_ = nullptr;
    xdg_toplevel* window_ = nullptr;
    wl_callback* frame_ = nullptr;
    std::int32_t width_ = 0;
    std::int32_t height_ = 0;
    bool isFullScreen_ = false;
    std::unique_ptr<SharedPicture> picture_;
    std::vector<std::uint32_t> colours_;
    bool isStale_ = false;
    std::function<void()> shown_;
    /// Whether the frame that is being shown has all that was painted.
    bool isComplete_ = false;
};

}  // namespace velmora
