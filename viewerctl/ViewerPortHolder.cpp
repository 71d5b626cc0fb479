#include "viewerctl/ViewerPortHolder.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace velmora {

namespace {

namespace fs = std::filesystem;

/// The number of the socket that listens on a port, from the kernel's table of one family
/// (proc(5), /proc/net/tcp).
std::optional<std::string> listeningSocket(const char* table, std::uint16_t port) {
    constexpr int base = 16;
    std::ifstream lines(table);
    std::string line;
    std::getline(lines, line);  // the names of the columns
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::string number, local, remote, state, queues, timer, retransmits, user, timeout, inode;
        fields >> number >> local >> remote >> state >> queues >> timer >> retransmits >> user >>
            timeout >> inode;
        const std::size_t colon = local.find(':');
        const bool isListening = fields && state == "0A" && colon != std::string::npos;
        if (isListening && std::stoul(local.substr(colon + 1), nullptr, base) == port) {
            return inode;
        }
    }
    return std::nullopt;
}

bool holds(const fs::path& process, const std::string& socket) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(process / "fd", error)) {
        if (fs::read_symlink(entry.path(), error) == socket) {
            return true;
        }
    }
    return false;
}

std::string holderOf(const std::string& inode) {
    const std::string socket = "socket:[" + inode + "]";
    std::error_code error;
    for (const auto& entry : fs::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        const bool isProcess = name.find_first_not_of("0123456789") == std::string::npos;
        if (isProcess && holds(entry.path(), socket)) {
            std::ifstream file(entry.path() / "comm");
            std::string command;
            std::getline(file, command);
            return command.append(" (").append(name).append(")");
        }
    }
    return {};
}

}  // namespace

std::optional<ViewerPortHolder> ViewerPortHolder::of(std::uint16_t port) {
    for (const char* const table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        if (const auto inode = listeningSocket(table, port)) {
            return ViewerPortHolder{holderOf(*inode)};
        }
    }
    return std::nullopt;
}

}  // namespace velmora
