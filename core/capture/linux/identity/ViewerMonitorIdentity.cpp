#include "core/capture/linux/identity/ViewerMonitorIdentity.h"

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>

#include "core/capture/linux/identity/ViewerEDID.h"
#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

/// The namespace of our version 5 UUIDs. Every display's id hangs on it: it never changes.
constexpr ViewerUUID displayNamespace = {{0x1e, 0xde, 0x97, 0x89, 0xf3, 0x65, 0x4d, 0x3e, 0x91,
                                          0x60, 0x3b, 0x61, 0xc0, 0xfc, 0xba, 0xf5}};

/// With its length before it, so that two texts that follow each other are never two others.
std::string delimited(std::string_view text) {
    return std::to_string(text.size()) + ":" + std::string(text);
}

std::string asText(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// What a UUID is made over. The first word tells the kinds apart: no two different monitors have
// the same.

std::string seedOfConnector(std::span<const std::uint8_t> edid, std::string_view connector) {
    return "connector:" + delimited(connector) + asText(edid);
}

std::string seedOf(std::span<const std::uint8_t> edid, bool hasSerialNumber,
                   std::string_view connector, std::string_view fallbackName) {
    if (edid.empty()) {
        return "name:" + std::string(fallbackName);
    }
    return hasSerialNumber ? "edid:" + asText(edid) : seedOfConnector(edid, connector);
}

std::string uuidOver(const std::string& seed) {
    const boost::uuids::name_generator_sha1 generate(displayNamespace);
    return uuidText(generate(seed.data(), seed.size()));
}

std::string nameFor(const ViewerEDID& facts, std::string_view fallbackName) {
    return facts.monitorName.empty() ? ViewerUTF8::repaired(fallbackName) : facts.monitorName;
}

/// Empty for what compositors say of a monitor that they know nothing of.
std::string_view known(std::string_view text) {
    constexpr std::array<std::string_view, 4> nothing = {"Unknown", "unknown", "(null)",
                                                         "org.kde.kwin"};
    return std::ranges::find(nothing, text) != nothing.end() ? std::string_view() : text;
}

}  // namespace

ViewerMonitorIdentity ViewerMonitorIdentity::of(std::span<const std::uint8_t> edid,
                                                std::string_view connector,
                                                std::string_view fallbackName) {
    const ViewerEDID facts = ViewerEDID::parse(edid);
    return {uuidOver(seedOf(edid, facts.hasSerialNumber, connector, fallbackName)),
            nameFor(facts, fallbackName)};
}

ViewerMonitorIdentity ViewerMonitorIdentity::ofTwin(std::span<const std::uint8_t> edid,
                                                    std::string_view connector,
                                                    std::string_view fallbackName) {
    return {uuidOver(seedOfConnector(edid, connector)),
            nameFor(ViewerEDID::parse(edid), fallbackName)};
}

ViewerMonitorIdentity ViewerMonitorIdentity::ofOutput(std::string_view connector,
                                                      std::string_view make,
                                                      std::string_view model) {
    const std::string seed =
        "output:" + delimited(connector) + delimited(make) + std::string(model);
    return {uuidOver(seed), nameOf(make, model)};
}

std::string ViewerMonitorIdentity::nameOf(std::string_view make, std::string_view model) {
    const std::string_view maker = known(make);
    const std::string_view type = known(model);
    if (maker.empty() || type.empty() || type.starts_with(maker)) {
        return ViewerUTF8::repaired(type.empty() ? maker : type);
    }
    return ViewerUTF8::repaired(std::string(maker) + " " + std::string(type));
}

}  // namespace velmora
