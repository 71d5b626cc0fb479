#pragma once

// The part of UniformTypeIdentifiers that the adapters use, declared by this project: they are
// checked against it where there is no macOS.

#include <Foundation/Foundation.h>

#pragma clang assume_nonnull begin

@interface UTType : NSObject
@property(readonly) NSString* identifier;
@end

extern "C" UTType* const UTTypeJPEG;

#pragma clang assume_nonnull end
