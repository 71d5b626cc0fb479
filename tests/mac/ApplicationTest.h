#pragma once

#include <memory>

#include "app/ViewerApplicationShell.h"
#include "tests/doubles/application/ApplicationScript.h"
#include "tests/doubles/screen/ScreenScript.h"
#include "tests/mac/MacTest.h"

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
