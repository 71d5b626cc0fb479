#include "viewerctl/ViewerHostList.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/protocol/ViewerUTF8.h"

namespace velmora {

namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// The name of the group that a line begins.
std::optional<std::string> groupOf(std::string_view line) {
    if (!line.ends_with(':') || line.starts_with('[')) {
        return std::nullopt;
    }
    const std::string_view name = trimmed(line.substr(0, line.size() - 1));
    const bool isText =
        ViewerUTF8::isValid(name) && std::none_of(name.begin(), name.end(), [](char character) {
            return static_cast<unsigned char>(character) < ' ';
        });
    return !name.empty() && isText ? std::optional(std::string(name)) : std::nullopt;
}

}  // namespace

ViewerListedHost::ViewerListedHost(ViewerHostAddress where, std::string groupName)
    : address(std::move(where)), group(std::move(groupName)) {}

ViewerHostList ViewerHostList::parse(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\uFEFF";
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    ViewerHostList list;
    std::string group;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        line = trimmed(line.substr(0, line.find('#')));
        if (line.empty()) {
            continue;
        }
        if (auto name = groupOf(line)) {
            group = std::move(*name);
        } else if (auto address = ViewerHostAddress::parse(line)) {
            list.hosts.emplace_back(std::move(*address), group);
        } else {
            list.badLines.push_back(number);
        }
    }
    return list;
}

}  // namespace velmora
