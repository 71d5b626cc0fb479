#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "tests/mac/frameworks/dispatch/DispatchWorld.h"
#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {

/// A test on the doubles: each begins with all of them as they are at first, and must leave no
/// object behind. What a test makes, it drops before its end.
class MacTest : public testing::Test {
  protected:
    MacTest();
    void SetUp() override;
    void TearDown() override;

    DispatchWorld& world_ = DispatchWorld::shared();

  private:
    std::unique_ptr<bridge::AutoreleasePool> pool_;
    std::map<std::string, int> before_;
};

}  // namespace velmora
