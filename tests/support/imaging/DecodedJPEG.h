#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tests/support/imaging/TestPicture.h"

namespace velmora {

/// What a viewer makes of a JPEG.
struct DecodedJPEG final {
    TestPicture picture{1, 1};
    /// TurboJPEG's numbers for the chroma subsampling and for the colour space.
    int subsampling = -1;
    int colourSpace = -1;
};

/// Decodes a JPEG; a failed expectation and a 1 × 1 picture where it cannot be decoded.
DecodedJPEG decoded(std::span<const std::uint8_t> jpeg);

/// The contents of a JPEG's quantisation tables, one after the other.
std::vector<std::uint8_t> quantisationTables(std::span<const std::uint8_t> jpeg);

/// The quantisation tables that libjpeg writes at one of its qualities, 1 to 100.
std::vector<std::uint8_t> quantisationTablesAt(int libraryQuality);

}  // namespace velmora
