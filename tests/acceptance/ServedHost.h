#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/system/HTTPClient.h"

namespace velmora {

/// A host and the desktop that it serves, as whoever asks it sees them: a real process on a real
/// desktop, or the same program on doubles of a system. The desktop begins with one display
/// "screen" of 1280 × 720. Used on the test's thread.
class ServedHost {
  public:
    virtual ~ServedHost() = default;

    /// Adds a display, or replaces all by the main one. Before the start.
    virtual void setDisplay(const std::string& name, const ViewerRectangle& place, bool isMain) = 0;
    /// Paints a part of the desktop, in 0xRRGGBB.
    virtual void fill(const ViewerRectangle& area, std::uint32_t colour) = 0;

    /// Starts the host, also anew after its end; the line that it writes once it listens.
    virtual std::string start() = 0;
    /// Sends bytes on a connection of their own; everything that comes back.
    virtual HTTPAnswer exchange(std::string_view bytes) = 0;
    /// Lets a moment pass.
    virtual void pause() = 0;
    /// Ends the host by SIGTERM; whether it ended in order.
    virtual bool end() = 0;
};

/// One way to serve. A source that has one instantiates the tests for it.
struct ServedHostKind final {
    /// Letters only: it ends the names of the tests.
    const char* name;
    std::function<std::unique_ptr<ServedHost>()> make;

    friend std::ostream& operator<<(std::ostream& stream, const ServedHostKind& kind) {
        return stream << kind.name;
    }
};

}  // namespace velmora
