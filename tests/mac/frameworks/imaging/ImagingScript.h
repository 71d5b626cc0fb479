#pragma once

#include <cstddef>

namespace velmora {

/// What the imaging frameworks refuse, and what they make. The test sets it while nothing is
/// imaged.
struct ImagingScript final {
    static ImagingScript& shared();

    bool rendersNothing = false;
    bool hasNoSRGB = false;
    bool makesNoBitmap = false;
    bool makesNoBitmapImage = false;
    bool makesNoDestination = false;
    bool failsToFinalize = false;
    /// The next JPEGs are filled up to that size.
    std::size_t jpegBytes = 0;
};

}  // namespace velmora
