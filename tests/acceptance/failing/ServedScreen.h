#pragma once

#include <cstdint>
#include <memory>

#include "tests/support/system/HostProcess.h"

namespace velmora {

/// A desktop of a test's own with one screen of one colour. Ends with the object. One thread.
class ServedScreen {
  public:
    /// Xvfb.
    static std::unique_ptr<ServedScreen> onX11();
    /// mutter with PipeWire and the real portal, where someone grants everything.
    static std::unique_ptr<ServedScreen> onWayland();

    ServedScreen() = default;
    virtual ~ServedScreen() = default;
    ServedScreen(const ServedScreen&) = delete;
    ServedScreen& operator=(const ServedScreen&) = delete;

    /// A host on it.
    virtual HostLaunch launch() const = 0;
    /// 0xRRGGBB.
    virtual void fill(std::uint32_t colour) = 0;
    /// Whether what was filled is seen at once, and not a moment later.
    virtual bool isSeenAtOnce() const = 0;
    /// Whether the person's consent can be lost with a connection, and then nothing is listed.
    virtual bool canLoseConsent() const = 0;
};

}  // namespace velmora
