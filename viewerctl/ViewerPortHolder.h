#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace velmora {

/// Who listens on a TCP port of this machine. A plain value.
struct ViewerPortHolder final {
    /// Nothing where nobody does. Reads /proc.
    static std::optional<ViewerPortHolder> of(std::uint16_t port);

    /// The name and the number of the process, "name (123)"; empty where that belongs to another
    /// user.
    std::string process;
};

}  // namespace velmora
