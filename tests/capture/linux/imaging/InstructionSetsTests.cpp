#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

namespace velmora {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::StartsWith;

/// The sets of instructions that this processor has, by their names, the best one first. The tests
/// of pictures go through all of them.
std::vector<std::string> instructionSets() {
    std::vector<std::string> names;
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
        names.emplace_back(hwy::TargetName(target));
    }
    return names;
}

TEST(InstructionSets, PicturesAreMadeWithTheProcessorsVectors) {
    const std::vector<std::string> names = instructionSets();
    std::cout << "Instruction sets: " << testing::PrintToString(names) << '\n';
    ASSERT_FALSE(names.empty());
#if HWY_ARCH_ARM
    EXPECT_THAT(names.front(), AnyOf(StartsWith("NEON"), StartsWith("SVE")));
    EXPECT_THAT(names, Contains(StartsWith("NEON")));
#else
    EXPECT_THAT(names.front(), AnyOf(StartsWith("AVX"), StartsWith("SSE")));
    EXPECT_THAT(names, Contains(StartsWith("SSE")));
#endif
}

}  // namespace
}  // namespace velmora
