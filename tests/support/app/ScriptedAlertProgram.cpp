#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "app/linux/ViewerAlertMessage.h"

namespace velmora {

namespace {

constexpr int badMessageStatus = 99;

std::optional<ViewerAlertMessage> receiveMessage() {
    std::vector<std::uint8_t> bytes(1 << 20);
    const ssize_t size = ::recv(STDIN_FILENO, bytes.data(), bytes.size(), 0);
    return size > 0
               ? ViewerAlertMessage::decoded(std::span(bytes).first(static_cast<std::size_t>(size)))
               : std::nullopt;
}

/// What the program was started with, one fact a line.
void report(const std::string& file) {
    std::ofstream out(file);
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigBlk:") || line.starts_with("SigIgn:")) {
            out << line << '\n';
        }
    }
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the listing's own descriptor
        const auto target = std::filesystem::read_symlink(descriptor.path(), gone);
        if (!gone && !target.string().starts_with("/proc/") && target != file) {
            out << descriptor.path().filename().string() << ' ' << target.string() << '\n';
        }
    }
    rlimit limit{};
    (void)::getrlimit(RLIMIT_NOFILE, &limit);  // 0 then, which no test expects
    out << "descriptors " << limit.rlim_cur << '\n';
    out << "session " << (::getsid(0) == ::getpid() ? "own" : "parent's") << '\n';
}

int act(const ViewerAlertMessage& message) {
    const std::string& what = message.alert.title;
    if (what == "exit") {
        return std::stoi(message.alert.informativeText);
    }
    if (what == "signal") {
        (void)std::raise(std::stoi(message.alert.informativeText));  // ends it
    }
    if (what == "report") {
        report(message.alert.informativeText);
        return ViewerAlertMessage::firstButtonStatus;
    }
    if (what == "environment") {
        std::ofstream out(message.alert.informativeText);
        for (char** variable = environ; *variable != nullptr; ++variable) {
            out << *variable << '\n';
        }
        return ViewerAlertMessage::firstButtonStatus;
    }
    if (what == "hang") {
        std::ofstream(message.alert.informativeText) << ::getpid() << '\n';
        while (true) {
            ::pause();
        }
    }
    return badMessageStatus;
}

}  // namespace

}  // namespace velmora

/// Stands in for the program that shows alerts: does what the alert's title says.
int main() {
    const auto message = velmora::receiveMessage();
    return message ? velmora::act(*message) : velmora::badMessageStatus;
}
