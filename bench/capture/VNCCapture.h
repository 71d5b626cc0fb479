#pragma once

#include "bench/capture/ChildProcess.h"

namespace velmora::bench {

/// x11vnc with a viewer that waits for the next change of the screen. One thread.
class VNCCapture final {
  public:
    /// Returns when the viewer has all of a screen that stands still.
    VNCCapture();
    ~VNCCapture();
    VNCCapture(const VNCCapture&) = delete;
    VNCCapture& operator=(const VNCCapture&) = delete;

    const ChildProcess& process() const { return process_; }

  private:
    void connect();
    void send(const std::string& bytes) const;
    void receive(std::size_t count) const;
    /// Asks for changes of the whole screen.
    void ask() const;
    /// Receives until nothing came for a second; whether anything came.
    bool receiveAll() const;

    ChildProcess process_;
    int socket_ = -1;
};

}  // namespace velmora::bench
