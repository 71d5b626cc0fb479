#pragma once

#include <functional>

namespace velmora {

/// Runs `check` once with each set of instructions that is compiled in and that this processor has,
/// from the best to plain code, and names it where an expectation fails. One thread at a time,
/// since the choice is the process's.
void forEachInstructionSet(const std::function<void()>& check);

}  // namespace velmora
