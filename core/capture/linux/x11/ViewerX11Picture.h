#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/capture/ViewerPixelBuffer.h"
#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "core/capture/linux/imaging/ViewerReducedPicture.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"
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
    ViewerX11Picture(std::shared_ptr<ViewerX11Connection> connection, const ViewerPixelForm& form,
                     const ViewerRectangle& source);

    /// The pixels of the picture that the given pixels of the root window have a part in.
    ViewerRectangle targetFor(const ViewerRectangle& onRoot) const;
    ViewerRectangle whole() const { return reduced_.whole(); }

    /// Renews rectangles of the picture. False when the server refused or is gone: the picture is
    /// of no use then. Blocks.
    bool renew(const std::vector<ViewerRectangle>& parts) {
        return fetch(parts, ViewerReducedPicture::Search::anyChange);
    }
    /// The same for one rectangle; the result is around everything that became different by it,
    /// which costs a little more to find. Nothing when the server refused or is gone.
    std::optional<ViewerRectangle> inspect(const ViewerRectangle& part);

    /// Whether it is another picture than when this was last asked; at first it is.
    bool takeChange() { return reduced_.takeChange(); }

    /// The picture as it is now; valid as long as it is not renewed.
    ViewerPixelBuffer pixels() { return reduced_.pixels(); }

  private:
    bool fetch(const std::vector<ViewerRectangle>& parts, ViewerReducedPicture::Search search);

    const ViewerRectangle source_;
    ViewerReducedPicture reduced_;
    ViewerX11RootReader reader_;
};

}  // namespace velmora
