#pragma once

#include <poll.h>
#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>
#include <spa/pod/builder.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <string>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireCapture.h"
#include "tests/support/pipewire/ScriptedPipeWire.h"

namespace velmora {

/// A screen whose capture has begun, on a PipeWire that tells what a test says.
struct ScriptedCapture final {
    static constexpr std::uint32_t side = 20;
    static constexpr std::uint64_t serial = 10;

    /// So long is between two pictures at least.
    explicit ScriptedCapture(std::chrono::nanoseconds frameInterval)
        : ScriptedCapture(ScriptedPipeWire::Refusals(), frameInterval) {}
    explicit ScriptedCapture(ScriptedPipeWire::Refusals refusals = ScriptedPipeWire::Refusals(),
                             std::chrono::nanoseconds frameInterval = std::chrono::milliseconds(40))
        : pipeWire(refusals), interval(frameInterval) {
        pipeWire.addNode(1, std::to_string(serial).c_str());
        isConnected = capture->connect();
    }

    /// The stream has this format from now on.
    void fix(spa_video_format pixelFormat, spa_rectangle size = {side, side}) {
        tell(SPA_PARAM_Format, pixelFormat, size);
    }
    void tell(std::uint32_t id, spa_video_format pixelFormat, spa_rectangle size = {side, side}) {
        alignas(std::uint64_t) std::array<std::uint8_t, 1024> memory{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
        spa_video_info_raw info{};
        info.format = pixelFormat;
        info.size = size;
        pipeWire.tellParameter(id, spa_format_video_raw_build(&builder, id, &info));
    }
    void show(std::uint32_t colour) {
        pixels.fill(colour);
        pipeWire.bring(buffer);
    }
    /// Shows a picture and brings another too early to be shown, which is held until then.
    /// REQUIRES: as long an interval as the test lasts.
    void showAndHold(pw_buffer& held) {
        fix(SPA_VIDEO_FORMAT_BGRx);
        pipeWire.addBuffer(buffer);
        pipeWire.addBuffer(held);
        show(0xff0000);
        pipeWire.bring(held);
    }
    /// Each picture from now on says that this part alone has changed.
    void tellChange(std::int32_t x, std::int32_t y, std::uint32_t width, std::uint32_t height) {
        change.region = {{x, y}, {width, height}};
        content.metas = &changeMeta;
        content.n_metas = 1;
    }
    bool isTimed() const { return pipeWire.timer().tv_sec != 0 || pipeWire.timer().tv_nsec != 0; }
    std::chrono::nanoseconds due() const {
        return std::chrono::seconds(pipeWire.timer().tv_sec) +
               std::chrono::nanoseconds(pipeWire.timer().tv_nsec);
    }
    void waitUntilDue() const {
        while (std::chrono::steady_clock::now().time_since_epoch() < due()) {
            ::poll(nullptr, 0, 1);
        }
    }
    /// Lets what waits for its time have it.
    void passTime() {
        waitUntilDue();
        pipeWire.expireTimer();
    }
    /// What was given back, each as often as it was.
    std::multiset<pw_buffer*> returned() const {
        return {pipeWire.returned().begin(), pipeWire.returned().end()};
    }

    int deliveries = 0;
    /// The first pixel of the picture that was delivered last.
    std::uint32_t delivered = 0;
    int ends = 0;
    ScriptedPipeWire pipeWire;
    const std::chrono::nanoseconds interval;
    ViewerPipeWireConnection connection{pipeWire.library(), pipeWire.loop(), -1};
    std::optional<ViewerPipeWireCapture> capture{
        std::in_place, connection, serial, interval,
        ViewerPipeWireCapture::Handlers{.deliver =
                                            [this](const ViewerPixelBuffer& picture) {
                                                ++deliveries;
                                                std::memcpy(&delivered, picture.pixels,
                                                            sizeof delivered);
                                                delivered &= 0xffffff;
                                            },
                                        .fallSilent = [] {},
                                        .end = [this] { ++ends; }}};
    bool isConnected = false;
    std::array<std::uint32_t, std::size_t{side} * side> pixels{};
    spa_chunk chunk{0, sizeof pixels, side * sizeof(std::uint32_t), 0};
    spa_data data{SPA_DATA_MemPtr, 0, -1, 0, sizeof pixels, pixels.data(), &chunk};
    spa_meta_region change{};
    spa_meta changeMeta{SPA_META_VideoDamage, sizeof change, &change};
    spa_buffer content{0, 1, nullptr, &data};
    pw_buffer buffer{&content, nullptr, 0, 0};
};

}  // namespace velmora
