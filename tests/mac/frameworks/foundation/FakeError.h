#pragma once

#include <Foundation/Foundation.h>

#include <string_view>

/// An error with a description of the test's. Counted among the live objects.
@interface FakeError : NSError
+ (nonnull instancetype)errorWithDescription:(std::string_view)description;
@end
