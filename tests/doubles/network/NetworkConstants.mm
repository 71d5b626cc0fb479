#include <Foundation/Foundation.h>

// Declared by the framework with another type: any object will do that is there without being made.
// NOLINTBEGIN(readability-identifier-naming): the framework's name
extern "C" NSString* const _nw_content_context_default_message;
NSString* const _nw_content_context_default_message = @"default message";
// NOLINTEND(readability-identifier-naming)
