#pragma once

#include <optional>
#include <string_view>

namespace velmora {

/// The files of the wall's page, which are part of the program. Any thread.
namespace ViewerWallFiles {

struct File final {
    std::string_view type;
    std::string_view bytes;
};

/// By its path on the server, such as "/wall.css"; the page itself is "/".
std::optional<File> find(std::string_view path);

}  // namespace ViewerWallFiles

}  // namespace velmora
