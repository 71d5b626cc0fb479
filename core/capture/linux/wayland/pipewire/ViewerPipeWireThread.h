#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "core/runtime/ViewerLock.h"

namespace velmora {

class ViewerPipeWireConnection;

/// The thread on which all that belongs to one PipeWire connection happens: its loop, its streams'
/// events, the reduction of their pictures. It is started with the connection and leaves by itself
/// when that is lost or no longer wanted; it is never joined, so that nobody waits for PipeWire.
/// Not real-time; asleep while nothing is captured. Any thread.
class ViewerPipeWireThread final : public std::enable_shared_from_this<ViewerPipeWireThread> {
  public:
    using Work = std::function<void(ViewerPipeWireConnection&)>;

    /// Connects over `descriptor`, which is the thread's from now on. `lost` runs once, on the
    /// thread or the caller's, when there is no connection any more, also when there never was one;
    /// not after `quit`.
    static std::shared_ptr<ViewerPipeWireThread> start(int descriptor, std::function<void()> lost);

    ViewerPipeWireThread();
    ~ViewerPipeWireThread();
    ViewerPipeWireThread(const ViewerPipeWireThread&) = delete;
    ViewerPipeWireThread& operator=(const ViewerPipeWireThread&) = delete;

    /// Runs `work` once on the thread, in the order of the calls. False, and `work` is dropped,
    /// when the thread has ended.
    [[nodiscard]] bool post(Work work);
    /// Ends the connection soon. Whoever watches it is told that it is lost.
    void quit();

  private:
    void run(int descriptor, const std::function<void()>& lost);
    void serve(ViewerPipeWireConnection& connection);
    void wake() const;
    bool isToQuit();
    std::vector<Work> takeWork();
    void runWork(ViewerPipeWireConnection& connection);
    /// Takes no more work; false when there is some to be done before.
    bool close();

    /// Readable when there is something to look at.
    const int event_;
    ViewerLock lock_;
    std::vector<Work> work_ VIEWER_GUARDED_BY(lock_);
    bool isQuitRequested_ VIEWER_GUARDED_BY(lock_) = false;
    bool isClosed_ VIEWER_GUARDED_BY(lock_) = false;
};

}  // namespace velmora
