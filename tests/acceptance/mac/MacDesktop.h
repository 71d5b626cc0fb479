#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/mac/frameworks/imaging/Raster.h"
#include "tests/mac/frameworks/screen/FakeStream.h"

namespace velmora {

/// What is on the screens of a Mac: streams deliver their display's part of it when they start and
/// whenever it changes. It begins with one display "screen" of 1280 × 720. Used while the host is
/// idle; one at a time.
class MacDesktop final {
  public:
    MacDesktop();
    ~MacDesktop();
    MacDesktop(const MacDesktop&) = delete;
    MacDesktop& operator=(const MacDesktop&) = delete;

    /// Adds a display, or replaces the main one.
    void setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain);
    void fill(const ViewerRectangle& area, std::uint32_t colour);

  private:
    void deliverTo(FakeStream& stream) const;
    Raster part(const ViewerRectangle& place) const;

    Raster picture_;
    /// Of the script's displays, in their order.
    std::vector<ViewerRectangle> places_;
};

}  // namespace velmora
