#pragma once

#import <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace velmora {

struct ViewerReleasing final {
    void operator()(CFTypeRef value) const { CFRelease(value); }
};

/// Owns what a function of the platform's that is named Create or Copy gave, or null. ARC does not
/// own such values.
template <typename Ref>
using ViewerOwnedRef = std::unique_ptr<std::remove_pointer_t<Ref>, ViewerReleasing>;

}  // namespace velmora
