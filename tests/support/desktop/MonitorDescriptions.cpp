#include "tests/support/desktop/MonitorDescriptions.h"

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr const char* devices = "/sys/class";

std::filesystem::path cards() {
    return std::filesystem::path(devices) / "drm";
}

}  // namespace

MonitorDescriptions::MonitorDescriptions() {
    const bool isAlone = ::unshare(CLONE_NEWNS) == 0 &&
                         // What is mounted from now on stays here.
                         ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount("devices", devices, "tmpfs", 0, "mode=0755") == 0;
    viewerCheck(isAlone, "a test cannot have monitors of its own");
    std::filesystem::create_directory(cards());
}

void MonitorDescriptions::plugIn(const std::string& connector,
                                 const std::vector<std::uint8_t>& edid) {
    const auto folder = cards() / ("card0-" + connector);
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "status") << "connected\n";
    std::ofstream(folder / "enabled") << "enabled\n";
    std::ofstream(folder / "edid", std::ios::binary)
        .write(reinterpret_cast<const char*>(edid.data()),
               static_cast<std::streamsize>(edid.size()));
    viewerCheck(std::filesystem::file_size(folder / "edid") == edid.size(),
                "a test can describe a monitor");
}

}  // namespace velmora
