#include "bench/polling/ProcessState.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace velmora::bench {

namespace {

std::size_t entriesIn(const std::filesystem::path& folder) {
    std::error_code error;
    const std::filesystem::directory_iterator entries(folder, error);
    return error ? 0 : static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

ProcessState ProcessState::of(pid_t process) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    ProcessState result;
    result.descriptors = entriesIn(folder / "fd");
    result.threads = entriesIn(folder / "task");
    std::ifstream status(folder / "status");
    std::string line;
    while (std::getline(status, line)) {
        const auto read = [&line](const std::string& name, double& value) {
            if (line.starts_with(name)) {
                value = std::stod(line.substr(name.size()));
            }
        };
        read("RssAnon:", result.anonymous);
        read("RssFile:", result.ofFiles);
        read("RssShmem:", result.shared);
    }
    return result;
}

}  // namespace velmora::bench
