#include "viewerctl/ViewerPrivateFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace velmora {

namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

/// The folder that the session has for files of its user alone; empty where there is none.
std::string runtimeFolder() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment.
    const char* const folder = std::getenv("XDG_RUNTIME_DIR");
    const bool isUsable =
        folder != nullptr && folder[0] == '/' && ::access(folder, W_OK | X_OK) == 0;
    return isUsable ? folder : "";
}

std::string madeFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "velmora-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        fail(pattern);
    }
    return pattern;
}

void write(int descriptor, std::string_view content, const std::string& path) {
    while (!content.empty()) {
        const ssize_t written = ::write(descriptor, content.data(), content.size());
        if (written < 0) {
            fail(path);
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
}

}  // namespace

ViewerPrivateFile::ViewerPrivateFile(std::string_view content, std::string_view ending) {
    std::string folder = runtimeFolder();
    if (folder.empty()) {
        folder_ = madeFolder();
        folder = folder_;
    }
    path_ = folder + "/velmora-XXXXXX" + std::string(ending);
    // Opens a file that was not there, of a name that nobody foresees, for its owner alone.
    const int descriptor = ::mkostemps(path_.data(), static_cast<int>(ending.size()), O_CLOEXEC);
    if (descriptor < 0) {
        fail(path_);
    }
    write(descriptor, content, path_);
    ::close(descriptor);
}

ViewerPrivateFile::~ViewerPrivateFile() {
    (void)::unlink(path_.c_str());  // somebody may have removed it
    if (!folder_.empty()) {
        (void)::rmdir(folder_.c_str());  // the same
    }
}

}  // namespace velmora
