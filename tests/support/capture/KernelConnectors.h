#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// A folder that looks as the kernel's folder of graphics cards' connectors does. One thread.
class KernelConnectors final {
  public:
    /// A connector by the kernel's name, "card0-DP-1".
    void add(const std::string& name, const std::string& status,
             const std::vector<std::uint8_t>& edid) const {
        std::filesystem::create_directory(folder() / name);
        std::ofstream(folder() / name / "status") << status << '\n';
        std::ofstream(folder() / name / "edid", std::ios::binary)
            .write(reinterpret_cast<const char*>(edid.data()),
                   static_cast<std::streamsize>(edid.size()));
    }

    const std::filesystem::path& folder() const { return folder_.path(); }

  private:
    const TemporaryFolder folder_;
};

}  // namespace velmora
