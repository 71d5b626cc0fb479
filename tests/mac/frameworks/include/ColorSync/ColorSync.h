#pragma once

// The part of ColorSync that the adapters use, declared by this project: they are checked against
// it where there is no macOS.

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

#pragma clang assume_nonnull begin

extern "C" CFUUIDRef _Nullable CGDisplayCreateUUIDFromDisplayID(std::uint32_t displayID)
    __attribute__((cf_returns_retained));

#pragma clang assume_nonnull end
