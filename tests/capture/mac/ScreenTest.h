#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/screen/FakeStream.h"
#include "tests/mac/frameworks/screen/ScreenScript.h"

namespace velmora {

/// A test of screen capture.
class ScreenTest : public MacTest {
  protected:
    /// What a listing answered: nothing yet, null, or the displays.
    using Listing = std::optional<std::shared_ptr<const ViewerScreenCapture::Displays>>;

    void SetUp() override;
    void TearDown() override;

    /// Asks for the displays and lets everything run.
    Listing list();
    /// The only stream there is.
    std::shared_ptr<FakeStream> stream() const;

    ScreenScript& script_ = ScreenScript::shared();
    std::shared_ptr<ViewerScreenCapture> capture_;
};

}  // namespace velmora
