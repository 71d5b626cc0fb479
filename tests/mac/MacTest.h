#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "tests/mac/PristineDoubles.h"
#include "tests/mac/frameworks/dispatch/DispatchWorld.h"

namespace velmora {

/// A test on the doubles. What it makes, it drops before its end.
class MacTest : public testing::Test {
  protected:
    void TearDown() override { doubles_.reset(); }

    DispatchWorld& world_ = DispatchWorld::shared();

  private:
    std::optional<PristineDoubles> doubles_{std::in_place};
};

}  // namespace velmora
