#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerAreaAverage.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "core/capture/linux/x11/ViewerX11RootReader.h"

namespace velmora {

/// The reduced picture of one rectangle of the root window, renewed part by part: the screen is
/// fetched in bands and each is reduced while it is in the processor's cache. While something
/// moves, the parts of one picture may be of slightly different times. Belongs to one capture; used
/// on its thread.
class ViewerX11Picture final {
  public:
    /// `form` is that of the connection's screen; `source` is on the root window and not empty. The
    /// picture is black at first. Blocks for a few round trips.
    ViewerX11Picture(std::shared_ptr<ViewerX11Connection> connection,
                     const ViewerX11PixelForm& form, const ViewerRectangle& source);

    /// The pixels of the picture that the given pixels of the root window have a part in.
    ViewerRectangle targetFor(const ViewerRectangle& onRoot) const;
    ViewerRectangle whole() const;

    /// Renews rectangles of the picture. False when the server refused or is gone: the picture is
    /// of no use then. Blocks.
    bool renew(const std::vector<ViewerRectangle>& parts) { return fetch(parts, false); }
    /// The same for one rectangle; the result is around everything that became different by it,
    /// which costs a little more to find. Nothing when the server refused or is gone.
    std::optional<ViewerRectangle> inspect(const ViewerRectangle& part);

    /// Whether it is another picture than when this was last asked; at first it is.
    bool takeChange() { return std::exchange(hasChanged_, false); }

    /// The picture as it is now; valid as long as it is not renewed.
    ViewerPixelBuffer pixels() const;

  private:
    bool fetch(const std::vector<ViewerRectangle>& parts, bool findsAllChanges);
    void reduce(const ViewerRectangle& band, const std::uint8_t* source, bool findsAllChanges);
    std::uint32_t* pixelsOf(const ViewerRectangle& band, std::int64_t row);
    void keep(const ViewerRectangle& band);
    /// A rectangle around all of the band that is not as it was kept.
    ViewerRectangle differenceFromKept(const ViewerRectangle& band);

    const ViewerRectangle source_;
    const ViewerAreaAverage average_;
    ViewerX11RootReader reader_;
    std::vector<std::uint32_t> pixels_;
    /// What the band that is being reduced was before.
    std::vector<std::uint32_t> kept_;
    /// What the inspection that is under way has found.
    ViewerRectangle found_;
    bool hasChanged_ = true;
};

}  // namespace velmora
