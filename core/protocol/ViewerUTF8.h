#pragma once

#include <string>
#include <string_view>

namespace velmora {

/// The form of text on the wire. Pure; any thread.
namespace ViewerUTF8 {

/// Whether `bytes` are well-formed UTF-8 from beginning to end.
bool isValid(std::string_view bytes);

/// `bytes` with U+FFFD in place of everything that is not UTF-8: one for each longest start of a
/// sequence that breaks off, one for each byte that starts none (The Unicode Standard, section 3.9,
/// "U+FFFD Substitution of Maximal Subparts").
std::string repaired(std::string_view bytes);

}  // namespace ViewerUTF8

}  // namespace velmora
