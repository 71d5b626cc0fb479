#include "app/linux/ViewerAlertMessage.h"

#include <cstring>
#include <utility>

namespace velmora {

namespace {

using Bytes = std::span<const std::uint8_t>;

/// Both ends run on one machine: its own byte order will do.
void put(std::vector<std::uint8_t>& bytes, const std::string& text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    const std::size_t begin = bytes.size();
    bytes.resize(begin + sizeof size + size);
    std::memcpy(bytes.data() + begin, &size, sizeof size);
    std::memcpy(bytes.data() + begin + sizeof size, text.data(), size);
}

/// Takes the next text off the front.
std::optional<std::string> takeText(Bytes& bytes) {
    std::uint32_t size = 0;
    if (bytes.size() < sizeof size) {
        return std::nullopt;
    }
    std::memcpy(&size, bytes.data(), sizeof size);
    bytes = bytes.subspan(sizeof size);
    if (bytes.size() < size) {
        return std::nullopt;
    }
    std::string text(bytes.begin(), bytes.begin() + size);
    bytes = bytes.subspan(size);
    return text;
}

std::optional<ViewerAlertStyle> takeStyle(Bytes& bytes) {
    if (bytes.empty() || bytes[0] > static_cast<std::uint8_t>(ViewerAlertStyle::critical)) {
        return std::nullopt;
    }
    const auto style = static_cast<ViewerAlertStyle>(bytes[0]);
    bytes = bytes.subspan(1);
    return style;
}

}  // namespace

ViewerAlertMessage::ViewerAlertMessage(ViewerAlert shownAlert, std::string folder)
    : alert(std::move(shownAlert)), privateFolder(std::move(folder)) {}

std::vector<std::uint8_t> ViewerAlertMessage::encoded() const {
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(alert.style)};
    put(bytes, privateFolder);
    put(bytes, alert.title);
    put(bytes, alert.informativeText);
    for (const std::string& button : alert.buttons) {
        put(bytes, button);
    }
    return bytes;
}

std::optional<ViewerAlertMessage> ViewerAlertMessage::decoded(Bytes bytes) {
    const auto style = takeStyle(bytes);
    const auto folder = takeText(bytes);
    const auto title = takeText(bytes);
    const auto text = takeText(bytes);
    if (!style || !folder || !title || !text || bytes.empty()) {
        return std::nullopt;
    }
    std::vector<std::string> buttons;
    while (!bytes.empty()) {
        auto button = takeText(bytes);
        if (!button) {
            return std::nullopt;
        }
        buttons.push_back(std::move(*button));
    }
    return ViewerAlertMessage(ViewerAlert(*style, *title, *text, std::move(buttons)), *folder);
}

}  // namespace velmora
