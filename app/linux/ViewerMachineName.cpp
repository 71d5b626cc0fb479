#include "app/linux/ViewerMachineName.h"

#include <unistd.h>

#include <array>
#include <fstream>

namespace velmora {

namespace {

constexpr const char* machineInfoPath = "/etc/machine-info";
/// Far above any real file; bounds what a broken one can cost.
constexpr std::size_t machineInfoBytes = 65'536;
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Inside double quotes a backslash stands for itself except before these.
bool isEscapable(char character) {
    return character == '"' || character == '\\' || character == '$' || character == '`';
}

/// The value of a shell assignment's right side, or nothing when a quote stays open.
std::optional<std::string> unquoted(std::string_view text) {
    std::string value;
    char quote = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const bool hasNext = i + 1 < text.size();
        if (quote == 0 && (character == '"' || character == '\'')) {
            quote = character;
        } else if (quote != 0 && character == quote) {
            quote = 0;
        } else if (character == '\\' && hasNext &&
                   (quote == 0 || (quote == '"' && isEscapable(text[i + 1])))) {
            value += text[++i];
        } else {
            value += character;
        }
    }
    return quote == 0 ? std::optional(value) : std::nullopt;
}

std::string readMachineInfo() {
    std::ifstream file(machineInfoPath, std::ios::binary);
    std::string text(machineInfoBytes, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

std::optional<std::string> hostName() {
    // The kernel's limit is 64 bytes; the last one stays zero.
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') {
        return std::nullopt;
    }
    return std::string(name.data());
}

}  // namespace

std::optional<std::string> ViewerMachineName::prettyHostName(std::string_view machineInfo) {
    constexpr std::string_view key = "PRETTY_HOSTNAME=";
    std::optional<std::string> name;
    while (!machineInfo.empty()) {
        const std::size_t end = std::min(machineInfo.find('\n'), machineInfo.size());
        const std::string_view line = trimmed(machineInfo.substr(0, end));
        machineInfo.remove_prefix(std::min(end + 1, machineInfo.size()));
        if (line.starts_with(key)) {
            // As in a shell, the last assignment holds.
            name = unquoted(trimmed(line.substr(key.size())));
        }
    }
    if (name && name->empty()) {
        return std::nullopt;
    }
    return name;
}

std::optional<std::string> ViewerMachineName::current() {
    auto pretty = prettyHostName(readMachineInfo());
    return pretty ? pretty : hostName();
}

}  // namespace velmora
