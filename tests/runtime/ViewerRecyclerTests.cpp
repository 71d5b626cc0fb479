#include "core/runtime/ViewerRecycler.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace velmora {
namespace {

using Block = std::array<std::byte, 2000>;

std::shared_ptr<Block> make(const std::shared_ptr<ViewerRecycler>& recycler) {
    return std::allocate_shared<Block>(ViewerRecyclingAllocator<Block>(recycler));
}

TEST(ViewerRecycler, WhatOneLeavesTheNextTakes) {
    const auto recycler = std::make_shared<ViewerRecycler>(2);
    const Block* const first = make(recycler).get();
    const auto second = make(recycler);
    EXPECT_EQ(second.get(), first);
    EXPECT_NE(make(recycler).get(), first) << "that one is in use";
}

TEST(ViewerRecycler, OneOfAnotherSizeGetsMemoryOfItsOwn) {
    const auto recycler = std::make_shared<ViewerRecycler>(2);
    void* const large = recycler->take(2000);
    recycler->giveBack(large, 2000);
    void* const small = recycler->take(1000);
    EXPECT_NE(small, large);
    recycler->giveBack(small, 1000);
    void* const again = recycler->take(2000);
    EXPECT_EQ(again, large);
    recycler->giveBack(again, 2000);
}

TEST(ViewerRecycler, WhatIsLeftBeyondItsBoundIsNotKept) {
    const auto recycler = std::make_shared<ViewerRecycler>(1);
    void* const first = recycler->take(2000);
    void* const second = recycler->take(2000);
    recycler->giveBack(first, 2000);
    recycler->giveBack(second, 2000);
    void* const again = recycler->take(2000);
    EXPECT_EQ(again, first) << "of two it keeps the one that was left first";
    recycler->giveBack(again, 2000);
}

TEST(ViewerRecycler, OfTwoThatWereLeftEachIsTakenOnce) {
    const auto recycler = std::make_shared<ViewerRecycler>(2);
    const auto takeTwo = [&] { return std::array{make(recycler), make(recycler)}; };
    (void)takeTwo();
    const auto again = takeTwo();
    EXPECT_NE(again[0].get(), again[1].get());
}

TEST(ViewerRecycler, LivesUntilTheLastOfItsObjectsHasGone) {
    auto recycler = std::make_shared<ViewerRecycler>(1);
    const std::weak_ptr<ViewerRecycler> weak = recycler;
    auto block = make(recycler);
    recycler = nullptr;
    EXPECT_FALSE(weak.expired());
    block = nullptr;
    EXPECT_TRUE(weak.expired());
}

TEST(ViewerRecycler, ManyThreadsTakeAndLeave) {
    const auto recycler = std::make_shared<ViewerRecycler>(4);
    constexpr int threadCount = 4;
    std::vector<std::jthread> threads;
    threads.reserve(threadCount);
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&recycler, mark = std::byte(thread)] {
            for (int i = 0; i < 1000; ++i) {
                const auto block = make(recycler);
                block->fill(mark);
                EXPECT_EQ(block->back(), mark);
            }
        });
    }
}

}  // namespace
}  // namespace velmora
