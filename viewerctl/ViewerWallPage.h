#pragma once

#include <cstddef>
#include <cstdint>

namespace velmora {

/// Whoever shows the wall. Told what has changed, it asks for the newest when it can take it. On
/// the loop's thread.
class ViewerWallPage {
  public:
    virtual ~ViewerWallPage() = default;

    virtual void noteHost(std::size_t host) = 0;
    virtual void noteTile(std::uint32_t tile) = 0;
    virtual void notePicture(std::uint32_t tile) = 0;
};

}  // namespace velmora
