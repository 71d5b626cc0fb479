#pragma once

// The part of CoreVideo that the adapters use, declared by this project: they are checked against
// it where there is no macOS.

#include <cstddef>

#pragma clang assume_nonnull begin

extern "C" {

typedef struct __attribute__((objc_bridge(id))) __CVBuffer* CVImageBufferRef;
using CVPixelBufferRef = CVImageBufferRef;

std::size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
std::size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);

}  // extern "C"

#pragma clang assume_nonnull end
