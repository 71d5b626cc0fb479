#pragma once

#include <cstddef>

#include "tests/support/host/preload/FailingCall.h"

namespace velmora {

/// Counts the call; whether it is one that is to fail, as errno then tells. Any thread.
bool isRefused(std::size_t call);

template <std::size_t Size>
consteval std::size_t indexOf(const char (&name)[Size]) {
    const std::size_t index = FailingCall::indexOf(name);
    if (index == FailingCall::none) {
        throw "no such name";
    }
    return index;
}

}  // namespace velmora
