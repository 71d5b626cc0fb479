#pragma once

#include <memory>

#include "app/ViewerApplicationShell.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"
#include "tests/mac/frameworks/screen/ScreenScript.h"

namespace velmora {

/// A test of the application. The signals are afterwards as before.
class ApplicationTest : public MacTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    ApplicationScript& script_ = ApplicationScript::shared();
    ScreenScript& screen_ = ScreenScript::shared();
    std::shared_ptr<ViewerApplicationShell> shell_;
};

}  // namespace velmora
