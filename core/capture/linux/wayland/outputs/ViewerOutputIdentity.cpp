#include "core/capture/linux/wayland/outputs/ViewerOutputIdentity.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/capture/linux/identity/ViewerDRMConnectors.h"

namespace velmora {

namespace {

using Bytes = std::vector<std::uint8_t>;

ViewerMonitorIdentity identityOf(const ViewerWaylandOutput& output, const Bytes& edid,
                                 bool hasTwin) {
    if (output.connector.empty()) {
        return {"", ViewerMonitorIdentity::nameOf(output.make, output.model)};
    }
    if (edid.empty()) {
        return ViewerMonitorIdentity::ofOutput(output.connector, output.make, output.model);
    }
    const std::string connector = ViewerDRMConnectors::x11NameOf(output.connector);
    const std::string name = ViewerMonitorIdentity::nameOf(output.make, output.model);
    return hasTwin ? ViewerMonitorIdentity::ofTwin(edid, connector, name)
                   : ViewerMonitorIdentity::of(edid, connector, name);
}

}  // namespace

std::vector<ViewerMonitorIdentity> ViewerOutputIdentity::of(
    const std::vector<ViewerWaylandOutput>& outputs, const std::filesystem::path& drmFolder) {
    std::vector<Bytes> edids;
    edids.reserve(outputs.size());
    for (const ViewerWaylandOutput& output : outputs) {
        edids.push_back(output.connector.empty()
                            ? Bytes()
                            : ViewerDRMConnectors::edidOf(drmFolder, output.connector));
    }
    std::vector<ViewerMonitorIdentity> identities;
    identities.reserve(outputs.size());
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const bool hasTwin = std::ranges::count(edids, edids[i]) > 1;
        identities.push_back(identityOf(outputs[i], edids[i], hasTwin));
    }
    return identities;
}

}  // namespace velmora
