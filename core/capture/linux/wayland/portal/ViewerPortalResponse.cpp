#include "core/capture/linux/wayland/portal/ViewerPortalResponse.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string_view>

namespace velmora {

namespace {

using Access = ViewerCaptureAccess;

constexpr std::uint32_t succeeded = 0;
constexpr std::uint32_t cancelled = 1;
/// Of the cursor modes.
constexpr std::uint32_t hidden = 1;

/// One value of a dictionary, to be read from `message`. Nothing is read of a value that is of
/// another type than is asked for.
struct Entry final {
    sd_bus_message* message;

    /// Reads a value of one basic type.
    template <typename Value>
    bool read(char type, Value& value) const {
        const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
        const std::array<char, 2> types{type, '\0'};
        return library.read(message, types.data(), &value) > 0;
    }

    std::optional<std::string> text() const {
        const char* value = nullptr;
        if (read('s', value) || read('o', value)) {
            return value;
        }
        return std::nullopt;
    }

    /// Two numbers that stand together.
    bool readPair(std::int32_t& first, std::int32_t& second) const {
        return ViewerBusLibrary::loaded().read(message, "(ii)", &first, &second) > 0;
    }
};

/// Takes a value and says whether it has read it; if not, it is skipped.
using Visitor = std::function<bool(std::string_view key, const Entry&)>;

bool readEntry(sd_bus_message* message, const Visitor& visit) {
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    const char* key = nullptr;
    const char* signature = nullptr;
    if (library.read(message, "s", &key) <= 0 ||
        library.peekType(message, nullptr, &signature) <= 0 ||
        library.enterContainer(message, SD_BUS_TYPE_VARIANT, signature) <= 0) {
        return false;
    }
    if (!visit(key, {message}) && library.skip(message, signature) < 0) {
        return false;
    }
    return library.exitContainer(message) >= 0;
}

/// False when there is no dictionary of variants.
bool readDictionary(sd_bus_message* message, const Visitor& visit) {
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    if (library.enterContainer(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0) {
        return false;
    }
    int entered = 0;
    while ((entered = library.enterContainer(message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0) {
        if (!readEntry(message, visit) || library.exitContainer(message) < 0) {
            return false;
        }
    }
    return entered == 0 && library.exitContainer(message) >= 0;
}

bool readProperty(ViewerGrantedStream& stream, std::string_view key, const Entry& entry) {
    if (key == "position") {
        ViewerLogicalPosition position;
        const bool isRead = entry.readPair(position.x, position.y);
        stream.position = isRead ? std::optional(position) : std::nullopt;
        return isRead;
    }
    if (key == "size") {
        ViewerLogicalSize size;
        const bool isRead = entry.readPair(size.width, size.height);
        stream.size = isRead ? std::optional(size) : std::nullopt;
        return isRead;
    }
    if (key == "source_type") {
        return entry.read('u', stream.sourceType);
    }
    if (key == "pipewire-serial") {
        std::uint64_t serial = 0;
        const bool isRead = entry.read('t', serial);
        stream.serial = isRead ? std::optional(serial) : std::nullopt;
        return isRead;
    }
    if (key == "mapping_id") {
        const auto mapping = entry.text();
        stream.mappingId = mapping.value_or("");
        return mapping.has_value();
    }
    return false;
}

/// Nothing when they are no list of streams.
std::optional<std::vector<ViewerGrantedStream>> readStreams(const Entry& entry) {
    const ViewerBusLibrary& library = ViewerBusLibrary::loaded();
    sd_bus_message* const message = entry.message;
    if (library.enterContainer(message, SD_BUS_TYPE_ARRAY, "(ua{sv})") < 0) {
        return std::nullopt;
    }
    std::vector<ViewerGrantedStream> streams;
    while (library.enterContainer(message, SD_BUS_TYPE_STRUCT, "ua{sv}") > 0) {
        ViewerGrantedStream stream;
        const auto visit = [&](std::string_view key, const Entry& property) {
            return readProperty(stream, key, property);
        };
        if (library.read(message, "u", &stream.node) <= 0 || !readDictionary(message, visit) ||
            library.exitContainer(message) < 0) {
            return std::nullopt;
        }
        streams.push_back(std::move(stream));
    }
    if (library.exitContainer(message) < 0) {
        return std::nullopt;
    }
    return streams;
}

bool readResult(ViewerPortalResponse& response, std::string_view key, const Entry& entry) {
    if (key == "streams") {
        response.streams = readStreams(entry);
        return response.streams.has_value();
    }
    if (key == "session_handle") {
        const auto handle = entry.text();
        response.sessionHandle = handle.value_or("");
        return handle.has_value();
    }
    if (key == "restore_token") {
        const auto token = entry.text();
        response.restoreToken = token.value_or("");
        return token.has_value();
    }
    return false;
}

template <std::size_t Count>
bool isOneOf(const std::array<std::string_view, Count>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

ViewerPortalResponse ViewerPortalResponse::failure(Access reason) {
    ViewerPortalResponse response;
    response.access = reason;
    return response;
}

ViewerPortalResponse ViewerPortalResponse::read(sd_bus_message* signal) {
    std::uint32_t outcome = 0;
    if (ViewerBusLibrary::loaded().read(signal, "u", &outcome) <= 0) {
        return failure(Access::portalSilent);
    }
    if (outcome != succeeded) {
        return failure(outcome == cancelled ? Access::declined : Access::portalSilent);
    }
    ViewerPortalResponse response;
    const auto visit = [&](std::string_view key, const Entry& entry) {
        return readResult(response, key, entry);
    };
    if (!readDictionary(signal, visit)) {
        return failure(Access::portalSilent);
    }
    response.access = Access::granted;
    return response;
}

std::optional<ViewerPortalOffer> ViewerPortalOffer::read(sd_bus_message* properties) {
    std::uint32_t types = 0;
    std::uint32_t cursorModes = 0;
    const auto visit = [&](std::string_view key, const Entry& entry) {
        return (key == "AvailableSourceTypes" && entry.read('u', types)) ||
               (key == "AvailableCursorModes" && entry.read('u', cursorModes));
    };
    if (!readDictionary(properties, visit)) {
        return std::nullopt;
    }
    ViewerPortalOffer offer;
    offer.hasMonitors = (types & ViewerGrantedStream::monitor) != 0;
    offer.hasWindows = (types & ViewerGrantedStream::window) != 0;
    offer.canHideCursor = (cursorModes & hidden) != 0;
    return offer;
}

Access portalAccessAfter(const ViewerBusReply& reply) {
    constexpr std::array<std::string_view, 5> missing{
        "org.freedesktop.DBus.Error.ServiceUnknown",
        "org.freedesktop.DBus.Error.NameHasNoOwner",
        "org.freedesktop.DBus.Error.Spawn.ServiceNotFound",
        "org.freedesktop.DBus.Error.Spawn.ExecFailed",
        "org.freedesktop.DBus.Error.Spawn.FileInvalid",
    };
    // GLib calls an interface that is not there an invalid argument.
    constexpr std::array<std::string_view, 5> withoutInterface{
        "org.freedesktop.DBus.Error.UnknownInterface", "org.freedesktop.DBus.Error.UnknownMethod",
        "org.freedesktop.DBus.Error.UnknownObject", "org.freedesktop.DBus.Error.UnknownProperty",
        "org.freedesktop.DBus.Error.InvalidArgs"};
    if (reply.kind == ViewerBusReply::Kind::lost) {
        return Access::portalMissing;
    }
    if (reply.kind == ViewerBusReply::Kind::refused && isOneOf(missing, reply.error)) {
        return Access::portalMissing;
    }
    if (reply.kind == ViewerBusReply::Kind::refused && isOneOf(withoutInterface, reply.error)) {
        return Access::portalWithoutScreens;
    }
    return Access::portalSilent;
}

}  // namespace velmora
