#include "core/runtime/mac/ViewerFoundationText.h"

namespace velmora {

std::optional<std::string> ViewerFoundationText::textOf(NSString* _Nullable string) {
    const char* const text = string.UTF8String;
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

NSString* _Nullable ViewerFoundationText::stringOf(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

}  // namespace velmora
