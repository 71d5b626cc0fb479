#pragma once

#include <string_view>

namespace velmora {

/// The label that numbers a host's frames. Pure; any thread.
namespace ViewerFrameLabel {

/// Whether `text` is 32 lower-case hexadecimal digits for the host's run, "-", 32 for the capture,
/// "-", and the frame's number from 1 on, without leading zeros and within 64 bits.
bool isValid(std::string_view text);

}  // namespace ViewerFrameLabel

}  // namespace velmora
