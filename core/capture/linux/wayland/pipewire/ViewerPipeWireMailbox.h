#pragma once

#include <pipewire/stream.h>

#include <vector>

#include "core/runtime/ViewerLock.h"

namespace velmora {

/// The buffers on their way between a stream and whoever reads them. In each cycle of its own
/// PipeWire gives one buffer back to the source, if one is there by then, and never makes up for a
/// cycle in which none was: a reader that is late would in time keep them all, and the source would
/// wait for one for ever. So a cycle takes back what is done with, or else what nobody has looked
/// at: the reader keeps two buffers at the most, that which it reads and the newest. Any thread.
class ViewerPipeWireMailbox final {
  public:
    /// What is to be read, and whether others were passed over since the last one.
    struct Arrival final {
        pw_buffer* buffer = nullptr;
        bool isAfterOthers = false;
    };

    /// Holds a buffer with a picture for the reader; the one that it takes the place of goes back.
    pw_buffer* put(pw_buffer* arrived);
    /// A buffer without a picture that can be used has gone by.
    void notePassedOver();
    /// The newest buffer, or none; the reader's until it is given back.
    Arrival take();
    /// The reader is done with it.
    void giveBack(pw_buffer* read);
    /// One that the reader is done with, or none: it goes back.
    pw_buffer* collect();
    /// The buffer is no more.
    void forget(pw_buffer* buffer);

  private:
    ViewerLock lock_;
    Arrival newest_ VIEWER_GUARDED_BY(lock_);
    std::vector<pw_buffer*> done_ VIEWER_GUARDED_BY(lock_);
};

}  // namespace velmora
