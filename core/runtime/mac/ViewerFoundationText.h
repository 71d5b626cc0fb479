#pragma once

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// Texts between Foundation and the standard library, in UTF-8. Any thread.
namespace ViewerFoundationText {

/// Nothing when there is no text, or one that is no Unicode.
std::optional<std::string> textOf(NSString* _Nullable string);

/// Nil when the text is not valid UTF-8.
NSString* _Nullable stringOf(std::string_view text);

}  // namespace ViewerFoundationText

}  // namespace velmora
