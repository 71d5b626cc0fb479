#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// The machine's name for people, from what the system was told. Any thread.
namespace ViewerMachineName {

/// The value of PRETTY_HOSTNAME in the text of a machine-info file (machine-info(5)), with its
/// quotes and backslashes undone; nothing where it is missing or empty.
std::optional<std::string> prettyHostName(std::string_view machineInfo);

/// The pretty host name, else the host name; nothing where neither is set.
std::optional<std::string> current();

}  // namespace ViewerMachineName

}  // namespace velmora
