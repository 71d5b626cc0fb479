#pragma once

#include <cstdint>
#include <span>

#include "core/protocol/ViewerHostRequestParseResult.h"

namespace velmora {

/// Looks for a request in what one connection has received. Pure; any thread.
namespace ViewerHostRequestParser {

/// `data` is everything received so far, from the connection's first byte. Only the request line is
/// interpreted; the rest must be ASCII and counts towards the limit.
ViewerHostRequestParseResult parse(std::span<const std::uint8_t> data);

/// Whether something follows the head that `data` holds: bytes that are there, or a body that one
/// of its fields announces.
bool hasMoreThanHead(std::span<const std::uint8_t> data);

}  // namespace ViewerHostRequestParser

}  // namespace velmora
