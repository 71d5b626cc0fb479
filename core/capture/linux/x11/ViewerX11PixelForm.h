#pragma once

#include <optional>

#include "core/capture/linux/imaging/ViewerPixelForm.h"
#include "core/capture/linux/x11/ViewerX11Connection.h"

namespace velmora {

/// What an X server says of its screen's pixels. A pure function; any thread.
namespace ViewerX11PixelForm {

/// The form of the root window's pixels, as the server told it when the connection was made;
/// nothing when they cannot be read.
std::optional<ViewerPixelForm> of(const ViewerX11Connection& connection);

}  // namespace ViewerX11PixelForm

}  // namespace velmora
