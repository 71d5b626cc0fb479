#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

/// A folder of this user's that goes with the object, and what is in it.
class TemporaryFolder final {
  public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "viewer-test-XXXXXX";
        viewerCheck(::mkdtemp(pattern.data()) != nullptr, "a temporary folder cannot be made");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;  // a folder left behind in the temporary folder harms nobody
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path_), {}));
    }

  private:
    std::filesystem::path path_;
};

}  // namespace velmora
