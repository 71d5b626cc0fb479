#include "core/capture/linux/identity/ViewerDRMConnectors.h"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <system_error>

namespace velmora {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t edidBlockBytes = 128;
/// Where the first block says how many follow it.
constexpr std::size_t extensionsOffset = 126;
constexpr std::size_t maximumBlocks = 256;

/// The first line of a file of a few words.
std::string lineOf(const fs::path& file) {
    std::ifstream input(file);
    std::string line;
    std::getline(input, line);
    return line;
}

std::vector<std::uint8_t> bytesOf(const fs::path& file) {
    std::ifstream input(file, std::ios::binary);
    std::vector<std::uint8_t> bytes(maximumBlocks * edidBlockBytes);
    input.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(input.gcount()));
    return bytes;
}

/// Whether the kernel's folder of that name, "card0-DP-1", is that of the connector.
bool isOf(const std::string& folderName, std::string_view connector) {
    const std::size_t dash = folderName.find('-');
    return dash != std::string::npos &&
           ViewerDRMConnectors::x11NameOf(std::string_view(folderName).substr(dash + 1)) ==
               ViewerDRMConnectors::x11NameOf(connector);
}

}  // namespace

std::string ViewerDRMConnectors::x11NameOf(std::string_view connector) {
    constexpr std::string_view kernels = "HDMI-A-";
    constexpr std::string_view servers = "HDMI-";
    return connector.starts_with(kernels)
               ? std::string(servers) + std::string(connector.substr(kernels.size()))
               : std::string(connector);
}

std::vector<std::uint8_t> ViewerDRMConnectors::edidOf(const fs::path& folder,
                                                      std::string_view connector) {
    std::vector<fs::path> connected;
    std::error_code error;
    for (fs::directory_iterator each(folder, error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        if (isOf(each->path().filename(), connector) &&
            lineOf(each->path() / "status") == "connected") {
            connected.push_back(each->path());
        }
    }
    if (connected.size() != 1) {
        return {};
    }
    std::vector<std::uint8_t> edid = bytesOf(connected.front() / "edid");
    if (edid.size() >= edidBlockBytes) {
        // X servers hand on as many blocks as the first one tells, newer kernels know of more.
        const std::size_t told = (edid[extensionsOffset] + std::size_t{1}) * edidBlockBytes;
        edid.resize(std::min(edid.size(), told));
    }
    return edid;
}

}  // namespace velmora
