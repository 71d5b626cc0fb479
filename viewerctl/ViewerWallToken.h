#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The secret that lets a page see the wall. Pure but for chance; any thread.
namespace ViewerWallToken {

/// 64 hexadecimal digits that nobody can guess.
std::string make();
/// Whether a comma-separated list, as of Sec-WebSocket-Protocol, has the token in it. Takes as long
/// for a wrong token as for the right one.
bool isOffered(std::string_view list, std::string_view token);

}  // namespace ViewerWallToken

}  // namespace velmora
