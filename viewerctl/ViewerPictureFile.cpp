#include "viewerctl/ViewerPictureFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace velmora::ViewerPictureFile {

namespace {

std::string reason() {
    return std::generic_category().message(errno);
}

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

/// Links lead to the file that is replaced.
std::string linkedFile(const std::string& path) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(path, error);
    return !error && std::filesystem::is_regular_file(file, error) ? file.string() : path;
}

/// A device or a pipe is written as it is: it cannot be replaced.
bool isReplaceable(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(path, error);
    return !std::filesystem::exists(status) || std::filesystem::is_regular_file(status);
}

}  // namespace

std::string write(const std::string& wanted, std::span<const std::uint8_t> bytes) {
    const std::string path = linkedFile(wanted);
    const bool isReplaced = isReplaceable(path);
    const std::string written = isReplaced ? path + ".part-" + std::to_string(::getpid()) : path;
    constexpr mode_t everybody = 0666;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (isReplaced ? O_EXCL : 0);
    const int descriptor = ::open(written.c_str(), flags, everybody);
    if (descriptor < 0) {
        return reason();
    }
    bool isWritten = writeAll(descriptor, bytes);
    std::string why = isWritten ? "" : reason();
    if (::close(descriptor) != 0 && isWritten) {
        isWritten = false;
        why = reason();
    }
    if (isWritten && isReplaced && std::rename(written.c_str(), path.c_str()) != 0) {
        isWritten = false;
        why = reason();
    }
    if (!isWritten && isReplaced) {
        (void)::unlink(written.c_str());  // the first reason is the one to tell
    }
    return why;
}

}  // namespace velmora::ViewerPictureFile
