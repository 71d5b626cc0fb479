#include "tests/support/imaging/InstructionSets.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace velmora {

namespace {

void choose(std::int64_t targets) {
    hwy::SetSupportedTargetsForTest(targets);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace

void forEachInstructionSet(const std::function<void()>& check) {
    const auto all = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(all.empty());
    for (const std::int64_t target : all) {
        SCOPED_TRACE(hwy::TargetName(target));
        choose(target);
        check();
    }
    constexpr std::int64_t whatTheProcessorHas = 0;
    choose(whatTheProcessorHas);
}

}  // namespace velmora
