#pragma once

#include <string>

#include "tests/support/x11/XServer.h"

namespace velmora {

/// As whom this process's clients come to a server that requires authority.
namespace XAuthority {

/// Makes a file with which a client counts as untrusted by a server that has the SECURITY
/// extension; names it. It goes with the server's own.
std::string makeUntrusted(const XServer& server);

/// Makes `file` the one that later connections of this process find their cookie in. Not while
/// another thread connects.
void use(const std::string& file);

}  // namespace XAuthority

}  // namespace velmora
