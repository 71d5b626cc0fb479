#include "core/capture/linux/wayland/outputs/ViewerOutputReader.h"

#include <ext-image-copy-capture-v1-client-protocol.h>
#include <wayland-client.h>
#include <wlr-screencopy-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// The newest versions that are understood here.
constexpr std::uint32_t outputVersion = 4;
constexpr std::uint32_t xdgOutputVersion = 3;
/// From here on an output's events end with one that says so.
constexpr std::uint32_t doneVersion = 2;
/// From here on that one speaks for `xdg_output` too.
constexpr std::uint32_t commonDoneVersion = 3;

/// What `xdg_output` adds. A plain value.
struct Extras final {
    std::optional<ViewerLogicalPosition> position;
    std::optional<ViewerLogicalSize> size;
    std::string name;
};

/// All that was told of an output. A plain value.
struct Facts final {
    ViewerWaylandOutput output;
    std::int32_t scale = 1;
    Extras extras;

    /// The output, or nothing as long as too little is known.
    std::optional<ViewerWaylandOutput> known(bool needsExtras) const {
        const bool isSized = output.mode.width > 0 && output.mode.height > 0;
        const bool hasExtras = extras.position && extras.size;
        if (!isSized || (needsExtras && !hasExtras)) {
            return std::nullopt;
        }
        ViewerWaylandOutput result = output;
        if (result.connector.empty()) {
            result.connector = extras.name;
        }
        if (hasExtras) {
            result.position = *extras.position;
            result.logicalSize = *extras.size;
        } else {
            const auto seen = result.seenSize();
            result.logicalSize = {seen.width / scale, seen.height / scale};
        }
        return result;
    }
};

/// One output and what listens to it.
class Output final {
  public:
    Output(wl_registry* registry, std::uint32_t name, std::uint32_t version);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void listenToExtras(zxdg_output_manager_v1* manager);

    std::uint32_t global() const { return told_.output.global; }
    wl_output* native() const { return output_; }
    std::optional<ViewerWaylandOutput> known() const {
        return isWhole_ ? whole_.known(extras_ != nullptr) : std::nullopt;
    }

  private:
    struct Events;

    /// Takes over what was told since the last time.
    void apply() {
        whole_ = told_;
        isWhole_ = true;
    }
    /// After each event of a compositor that does not say when it has told everything.
    void applyAtOnce() {
        if (wl_output_get_version(output_) < doneVersion) {
            apply();
        }
    }

    wl_output* const output_;
    zxdg_output_v1* extras_ = nullptr;
    Facts told_;
    Facts whole_;
    bool isWhole_ = false;
};

struct Output::Events final {
    static Output& of(void* data) { return *static_cast<Output*>(data); }

    static void geometry(void* data, wl_output*, std::int32_t x, std::int32_t y, std::int32_t,
                         std::int32_t, std::int32_t, const char* make, const char* model,
                         std::int32_t transform) {
        ViewerWaylandOutput& output = of(data).told_.output;
        output.position = {x, y};
        output.make = make;
        output.model = model;
        const bool isKnown = transform >= 0 && transform < ViewerWaylandOutput::transforms;
        output.transform = isKnown ? transform : 0;
        of(data).applyAtOnce();
    }
    static void mode(void* data, wl_output*, std::uint32_t flags, std::int32_t width,
                     std::int32_t height, std::int32_t) {
        if ((flags & WL_OUTPUT_MODE_CURRENT) != 0) {
            of(data).told_.output.mode = {width, height};
            of(data).applyAtOnce();
        }
    }
    static void done(void* data, wl_output*) { of(data).apply(); }
    static void scale(void* data, wl_output*, std::int32_t factor) {
        of(data).told_.scale = std::max(factor, 1);
    }
    static void name(void* data, wl_output*, const char* text) {
        of(data).told_.output.connector = text;
    }
    static void description(void*, wl_output*, const char*) {}

    static void extraPosition(void* data, zxdg_output_v1*, std::int32_t x, std::int32_t y) {
        of(data).told_.extras.position = {x, y};
        of(data).applyAtOnce();
    }
    static void extraSize(void* data, zxdg_output_v1*, std::int32_t width, std::int32_t height) {
        of(data).told_.extras.size = {width, height};
        of(data).applyAtOnce();
    }
    static void extraDone(void* data, zxdg_output_v1* extras) {
        if (zxdg_output_v1_get_version(extras) < commonDoneVersion) {
            of(data).whole_.extras = of(data).told_.extras;
        }
    }
    static void extraName(void* data, zxdg_output_v1*, const char* text) {
        of(data).told_.extras.name = text;
        of(data).applyAtOnce();
    }
    static void extraDescription(void*, zxdg_output_v1*, const char*) {}

    static constexpr wl_output_listener ofOutput = {geometry, mode, done, scale, name, description};
    static constexpr zxdg_output_v1_listener ofExtras = {extraPosition, extraSize, extraDone,
                                                         extraName, extraDescription};
};

Output::Output(wl_registry* registry, std::uint32_t name, std::uint32_t version)
    : output_(static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface,
                                                       std::min(version, outputVersion)))) {
    told_.output.global = name;
    wl_output_add_listener(output_, &Events::ofOutput, this);
}

Output::~Output() {
    if (extras_ != nullptr) {
        zxdg_output_v1_destroy(extras_);
    }
    if (wl_output_get_version(output_) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
        wl_output_release(output_);
    } else {
        wl_output_destroy(output_);
    }
}

void Output::listenToExtras(zxdg_output_manager_v1* manager) {
    extras_ = zxdg_output_manager_v1_get_xdg_output(manager, output_);
    zxdg_output_v1_add_listener(extras_, &Events::ofExtras, this);
}

}  // namespace

/// What listens to the compositor, at an address that stays.
class ViewerOutputReader::Told final {
  public:
    explicit Told(wl_display* display) : registry_(wl_display_get_registry(display)) {
        wl_registry_add_listener(registry_, &ofRegistry, this);
        sync_ = wl_display_sync(display);
        wl_callback_add_listener(sync_, &ofSync, this);
        display_ = display;
    }
    ~Told() {
        outputs.clear();
        if (manager_ != nullptr) {
            zxdg_output_manager_v1_destroy(manager_);
        }
        if (sync_ != nullptr) {
            wl_callback_destroy(sync_);
        }
        wl_registry_destroy(registry_);
    }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;

    wl_registry* registry() const { return registry_; }

    std::vector<std::unique_ptr<Output>> outputs;
    Global sharedMemory;
    Global screenCopy;
    Global imageSources;
    Global imageCopy;
    bool isComplete = false;

  private:
    static Told& of(void* data) { return *static_cast<Told*>(data); }

    void add(std::uint32_t name, std::string_view interface, std::uint32_t version) {
        if (interface == wl_output_interface.name) {
            outputs.push_back(std::make_unique<Output>(registry_, name, version));
            if (manager_ != nullptr) {
                outputs.back()->listenToExtras(manager_);
            }
        } else if (interface == zxdg_output_manager_v1_interface.name && manager_ == nullptr) {
            manager_ = static_cast<zxdg_output_manager_v1*>(
                wl_registry_bind(registry_, name, &zxdg_output_manager_v1_interface,
                                 std::min(version, xdgOutputVersion)));
            for (const auto& each : outputs) {
                each->listenToExtras(manager_);
            }
        } else if (interface == zwlr_screencopy_manager_v1_interface.name) {
            screenCopy = {name, version};
        } else if (interface == ext_output_image_capture_source_manager_v1_interface.name) {
            imageSources = {name, version};
        } else if (interface == ext_image_copy_capture_manager_v1_interface.name) {
            imageCopy = {name, version};
        } else if (interface == wl_shm_interface.name) {
            sharedMemory = {name, version};
        }
    }

    static void global(void* data, wl_registry*, std::uint32_t name, const char* interface,
                       std::uint32_t version) {
        of(data).add(name, interface, version);
    }
    static void globalRemove(void* data, wl_registry*, std::uint32_t name) {
        std::erase_if(of(data).outputs, [&](const auto& each) { return each->global() == name; });
    }
    /// The first answer comes after every piece of the protocol was told, the second after
    /// everything about those that were bound then.
    static void synced(void* data, wl_callback* callback, std::uint32_t) {
        wl_callback_destroy(callback);
        Told& told = of(data);
        told.sync_ = nullptr;
        if (std::exchange(told.hasPieces_, true)) {
            told.isComplete = true;
        } else {
            told.sync_ = wl_display_sync(told.display_);
            wl_callback_add_listener(told.sync_, &ofSync, &told);
        }
    }

    static constexpr wl_registry_listener ofRegistry = {global, globalRemove};
    static constexpr wl_callback_listener ofSync = {synced};

    wl_display* display_ = nullptr;
    wl_registry* const registry_;
    wl_callback* sync_ = nullptr;
    zxdg_output_manager_v1* manager_ = nullptr;
    bool hasPieces_ = false;
};

ViewerOutputReader::ViewerOutputReader(wl_display* display)
    : told_(std::make_unique<Told>(display)) {}

ViewerOutputReader::~ViewerOutputReader() = default;

bool ViewerOutputReader::isComplete() const {
    return told_->isComplete;
}

std::vector<ViewerWaylandOutput> ViewerOutputReader::outputs() const {
    std::vector<ViewerWaylandOutput> result;
    for (const auto& each : told_->outputs) {
        if (const auto known = each->known()) {
            result.push_back(*known);
        }
    }
    return result;
}

ViewerOutputReader::Global ViewerOutputReader::screenCopy() const {
    return told_->screenCopy;
}

ViewerOutputReader::Global ViewerOutputReader::sharedMemory() const {
    return told_->sharedMemory;
}

ViewerOutputReader::Global ViewerOutputReader::imageSources() const {
    return told_->imageSources;
}

ViewerOutputReader::Global ViewerOutputReader::imageCopy() const {
    return told_->imageCopy;
}

wl_registry* ViewerOutputReader::registry() const {
    return told_->registry();
}

wl_output* ViewerOutputReader::outputWith(std::uint32_t global) const {
    const auto found = std::ranges::find_if(
        told_->outputs, [&](const auto& each) { return each->global() == global; });
    viewerCheck(found != told_->outputs.end(), "an output is one of its reader's");
    return (*found)->native();
}

}  // namespace velmora
