#include "core/capture/linux/identity/ViewerMonitorIdentity.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <utility>

#include "core/capture/linux/identity/ViewerEDID.h"
#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

/// The namespace of our version 5 UUIDs. Every display's id hangs on it: it never changes.
constexpr ViewerUUID displayNamespace = {{0x1e, 0xde, 0x97, 0x89, 0xf3, 0x65, 0x4d, 0x3e, 0x91,
                                          0x60, 0x3b, 0x61, 0xc0, 0xfc, 0xba, 0xf5}};

/// What the UUID is made over. The first word tells the three kinds apart, the length says where a
/// connector's name ends: no two different monitors have the same.
std::string seedOf(std::string_view edid, bool hasSerialNumber, std::string_view connector,
                   std::string_view randrName) {
    if (edid.empty()) {
        return "name:" + std::string(randrName);
    }
    if (hasSerialNumber) {
        return "edid:" + std::string(edid);
    }
    return "connector:" + std::to_string(connector.size()) + ":" + std::string(connector) +
           std::string(edid);
}

}  // namespace

ViewerMonitorIdentity ViewerMonitorIdentity::of(std::span<const std::uint8_t> edid,
                                                std::string_view connector,
                                                std::string_view randrName) {
    const ViewerEDID facts = ViewerEDID::parse(edid);
    const std::string_view edidText(reinterpret_cast<const char*>(edid.data()), edid.size());
    const std::string seed = seedOf(edidText, facts.hasSerialNumber, connector, randrName);
    const boost::uuids::name_generator_sha1 generate(displayNamespace);

    ViewerMonitorIdentity identity;
    identity.uuidText = velmora::uuidText(generate(seed.data(), seed.size()));
    identity.name = facts.monitorName.empty() ? ViewerUTF8::repaired(randrName) : facts.monitorName;
    return identity;
}

}  // namespace velmora
