#pragma once

#include "app/ViewerPlatformServices.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/application/ApplicationScript.h"

namespace velmora {

/// A test of the application. The signals are afterwards as before.
class ApplicationTest : public MacTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    ApplicationScript& script_ = ApplicationScript::shared();
    ViewerPlatformServices services_;
};

}  // namespace velmora
