#include "tests/support/desktop/painter/OutputWindow.h"

#include <algorithm>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

template <typename Type>
Type* bind(wl_registry* registry, std::uint32_t global, const wl_interface& interface,
           std::uint32_t version) {
    return static_cast<Type*>(wl_registry_bind(registry, global, &interface, version));
}

bool isFullScreen(const wl_array& states) {
    const auto* const begin = static_cast<const std::uint32_t*>(states.data);
    return std::find(begin, begin + states.size / sizeof *begin, XDG_TOPLEVEL_STATE_FULLSCREEN) !=
           begin + states.size / sizeof *begin;
}

}  // namespace

OutputWindow::OutputWindow(wl_display* display, std::string output)
    : display_(display), wanted_(std::move(output)) {
    listen();
    wl_display_roundtrip(display_);
    viewerCheck(compositor_ != nullptr && memory_ != nullptr && shell_ != nullptr,
                "the compositor shows windows");
}

OutputWindow::~OutputWindow() {
    close();
}

void OutputWindow::listen() {
    static constexpr wl_registry_listener listener{
        [](void* self, wl_registry*, std::uint32_t global, const char* interface, std::uint32_t) {
            static_cast<OutputWindow*>(self)->addGlobal(global, interface);
        },
        [](void* self, wl_registry*, std::uint32_t global) {
            static_cast<OutputWindow*>(self)->removeGlobal(global);
        }};
    registry_ = wl_display_get_registry(display_);
    wl_registry_add_listener(registry_, &listener, this);
}

void OutputWindow::addGlobal(std::uint32_t global, const std::string& interface) {
    /// The first one that tells of damage in the picture's own pixels.
    constexpr std::uint32_t compositorVersion = 4;
    /// The first one that can be told to go.
    constexpr std::uint32_t outputVersion = 3;
    /// The first one that tells names.
    constexpr std::uint32_t namesVersion = 2;
    static constexpr xdg_wm_base_listener shellListener{
        [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }};
    if (interface == wl_compositor_interface.name) {
        compositor_ =
            bind<wl_compositor>(registry_, global, wl_compositor_interface, compositorVersion);
    } else if (interface == wl_shm_interface.name) {
        memory_ = bind<wl_shm>(registry_, global, wl_shm_interface, 1);
    } else if (interface == xdg_wm_base_interface.name) {
        shell_ = bind<xdg_wm_base>(registry_, global, xdg_wm_base_interface, 1);
        xdg_wm_base_add_listener(shell_, &shellListener, nullptr);
    } else if (interface == zxdg_output_manager_v1_interface.name) {
        names_ = bind<zxdg_output_manager_v1>(registry_, global, zxdg_output_manager_v1_interface,
                                              namesVersion);
        for (const auto& [number, output] : outputs_) {
            askForName(*output);
        }
    } else if (interface == wl_output_interface.name) {
        auto output = std::make_unique<Output>();
        output->window = this;
        output->global = global;
        output->handle = bind<wl_output>(registry_, global, wl_output_interface, outputVersion);
        listenTo(*output);
        if (names_ != nullptr) {
            askForName(*output);
        }
        outputs_[global] = std::move(output);
    }
}

void OutputWindow::listenTo(Output& output) {
    static constexpr wl_output_listener listener{
        [](void*, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
           const char*, const char*, std::int32_t) {},
        [](void*, wl_output*, std::uint32_t, std::int32_t, std::int32_t, std::int32_t) {},
        [](void*, wl_output*) {},
        [](void* told, wl_output*, std::int32_t scale) {
            static_cast<Output*>(told)->scale = scale;
        },
        [](void*, wl_output*, const char*) {},
        [](void*, wl_output*, const char*) {}};
    wl_output_add_listener(output.handle, &listener, &output);
}

void OutputWindow::askForName(Output& output) {
    static constexpr zxdg_output_v1_listener listener{
        [](void* told, zxdg_output_v1*, std::int32_t x, std::int32_t y) {
            auto& self = *static_cast<Output*>(told);
            self.hasMoved = self.hasMoved || self.x != x || self.y != y;
            self.x = x;
            self.y = y;
        },
        [](void*, zxdg_output_v1*, std::int32_t, std::int32_t) {},
        [](void* told, zxdg_output_v1*) {
            auto& self = *static_cast<Output*>(told);
            self.window->outputIsTold(self);
        },
        [](void* told, zxdg_output_v1*, const char* name) {
            static_cast<Output*>(told)->name = name;
        },
        [](void*, zxdg_output_v1*, const char*) {}};
    output.more = zxdg_output_manager_v1_get_xdg_output(names_, output.handle);
    zxdg_output_v1_add_listener(output.more, &listener, &output);
}

void OutputWindow::outputIsTold(Output& output) {
    if (std::exchange(output.hasMoved, false) && shownOn_ == &output) {
        // Some compositors leave the window where the output was, which is now another's place.
        close();
    }
    if (output.name == wanted_ && shownOn_ == nullptr) {
        open(output);
    }
}

void OutputWindow::removeGlobal(std::uint32_t global) {
    const auto found = outputs_.find(global);
    if (found == outputs_.end()) {
        return;
    }
    if (shownOn_ == found->second.get()) {
        close();
    }
    if (found->second->more != nullptr) {
        zxdg_output_v1_destroy(found->second->more);
    }
    wl_output_release(found->second->handle);
    outputs_.erase(found);
}

void OutputWindow::open(Output& output) {
    static constexpr xdg_surface_listener roleListener{
        [](void* self, xdg_surface* role, std::uint32_t serial) {
            auto& window = *static_cast<OutputWindow*>(self);
            xdg_surface_ack_configure(role, serial);
            window.resize(window.width_, window.height_);
        }};
    static constexpr xdg_toplevel_listener windowListener{
        [](void* self, xdg_toplevel*, std::int32_t width, std::int32_t height, wl_array* states) {
            auto& window = *static_cast<OutputWindow*>(self);
            window.width_ = width;
            window.height_ = height;
            window.isFullScreen_ = isFullScreen(*states);
        },
        [](void*, xdg_toplevel*) {}, [](void*, xdg_toplevel*, std::int32_t, std::int32_t) {},
        [](void*, xdg_toplevel*, wl_array*) {}};
    shownOn_ = &output;
    surface_ = wl_compositor_create_surface(compositor_);
    role_ = xdg_wm_base_get_xdg_surface(shell_, surface_);
    xdg_surface_add_listener(role_, &roleListener, this);
    window_ = xdg_surface_get_toplevel(role_);
    xdg_toplevel_add_listener(window_, &windowListener, this);
    xdg_toplevel_set_title(window_, ("painter of " + wanted_).c_str());
    xdg_toplevel_set_fullscreen(window_, output.handle);
    wl_surface_commit(surface_);
}

void OutputWindow::close() {
    if (shownOn_ == nullptr) {
        return;
    }
    if (frame_ != nullptr) {
        wl_callback_destroy(std::exchange(frame_, nullptr));
    }
    xdg_toplevel_destroy(window_);
    xdg_surface_destroy(role_);
    wl_surface_destroy(surface_);
    picture_ = nullptr;
    shownOn_ = nullptr;
    isFullScreen_ = false;
}

ViewerRectangle OutputWindow::whole() const {
    return picture_ ? picture_->whole() : ViewerRectangle{};
}

void OutputWindow::resize(std::int32_t width, std::int32_t height) {
    if (width <= 0 || height <= 0) {
        // Some compositors tell the size only once the window shows something.
        constexpr std::int32_t least = 16;
        width = least;
        height = least;
    }
    const std::int32_t scale = shownOn_->scale;
    const std::int32_t pixelWidth = width * scale;
    const std::int32_t pixelHeight = height * scale;
    const ViewerRectangle wanted{0, 0, pixelWidth, pixelHeight};
    if (!picture_ || picture_->whole() != wanted) {
        if (frame_ != nullptr) {
            wl_callback_destroy(std::exchange(frame_, nullptr));
        }
        // What shows first, and after a change of the size, is the last colour at its corner.
        const std::uint32_t colour = colours_.empty() ? 0 : colours_.front();
        picture_ = std::make_unique<SharedPicture>(memory_, pixelWidth, pixelHeight);
        colours_.assign(static_cast<std::size_t>(wanted.area()), colour);
        picture_->put(wanted, colours_);
        wl_surface_set_buffer_scale(surface_, scale);
    }
    isStale_ = true;
    present();
}

void OutputWindow::fill(const ViewerRectangle& part, std::uint32_t colour) {
    if (!picture_) {
        colours_.assign(1, colour);
        return;
    }
    const std::int64_t scale = shownOn_->scale;
    const ViewerRectangle area =
        intersection({part.x * scale, part.y * scale, part.width * scale, part.height * scale},
                     picture_->whole());
    for (std::int64_t y = area.y; y < area.bottom(); ++y) {
        std::fill_n(colours_.begin() + y * whole().width + area.x, area.width, colour);
    }
    picture_->put(area, colours_);
    isStale_ = true;
    present();
}

void OutputWindow::put(const ViewerRectangle& part, const std::vector<std::uint32_t>& picture,
                       std::int64_t offset) {
    if (!picture_ || intersection(part, whole()) != part) {
        return;
    }
    for (std::int64_t y = 0; y < part.height; ++y) {
        const std::int64_t from = (y + offset) % part.height * part.width;
        std::copy_n(picture.begin() + from, part.width,
                    colours_.begin() + (part.y + y) * whole().width + part.x);
    }
    picture_->put(part, colours_);
    isStale_ = true;
    present();
}

void OutputWindow::whenShown(std::function<void()> shown) {
    shown_ = std::move(shown);
    isComplete_ = false;
    isStale_ = true;
    present();
}

void OutputWindow::present() {
    static constexpr wl_callback_listener listener{
        [](void* self, wl_callback* callback, std::uint32_t) {
            auto& window = *static_cast<OutputWindow*>(self);
            wl_callback_destroy(callback);
            window.frame_ = nullptr;
            if (window.isComplete_ && window.shown_) {
                std::exchange(window.shown_, nullptr)();
            }
        }};
    if (!isStale_ || !picture_ || frame_ != nullptr || !picture_->hasFreeBuffer()) {
        return;
    }
    isStale_ = false;
    isComplete_ = isFullScreen_;
    frame_ = wl_surface_frame(surface_);
    wl_callback_add_listener(frame_, &listener, this);
    picture_->attachTo(surface_);
    wl_surface_commit(surface_);
}

}  // namespace velmora
