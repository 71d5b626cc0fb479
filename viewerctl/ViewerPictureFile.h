#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velmora {

/// Writes files so that nobody ever finds half of one.
namespace ViewerPictureFile {

/// Replaces or makes `path`, readable for whom the user's mask says. Empty where it went well, else
/// the system's reason.
std::string write(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace ViewerPictureFile

}  // namespace velmora
