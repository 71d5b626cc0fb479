#include "core/capture/linux/wayland/pipewire/ViewerPipeWireThread.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"
#include "core/runtime/linux/ViewerDetachedThread.h"

namespace velmora {

namespace {

/// PipeWire's own loop, for as long as this lives. Null inside when it cannot be had.
class Loop final {
  public:
    explicit Loop(const ViewerPipeWireLibrary& library)
        : library_(library), loop_(library.loopNew(nullptr)) {}
    ~Loop() {
        if (loop_ != nullptr) {
            library_.loopDestroy(loop_);
        }
    }
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    pw_loop* get() const { return loop_; }

  private:
    const ViewerPipeWireLibrary& library_;
    pw_loop* const loop_;
};

void forget(void*, int descriptor, std::uint32_t) {
    std::uint64_t count = 0;
    (void)::read(descriptor, &count, sizeof count);  // That it was woken is all that counts.
}

}  // namespace

std::shared_ptr<ViewerPipeWireThread> ViewerPipeWireThread::start(int descriptor,
                                                                  std::function<void()> lost) {
    auto result = std::make_shared<ViewerPipeWireThread>();
    const bool isStarted =
        result->event_ >= 0 && startDetachedThread("pipewire", [result, descriptor, lost] {
            result->run(descriptor, lost);
        });
    if (!isStarted) {
        (void)::close(descriptor);  // There is nobody to be told.
        (void)result->close();      // Nothing was posted yet.
        lost();
    }
    return result;
}

ViewerPipeWireThread::ViewerPipeWireThread() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

ViewerPipeWireThread::~ViewerPipeWireThread() {
    if (event_ >= 0) {
        (void)::close(event_);  // There is nobody to be told.
    }
}

bool ViewerPipeWireThread::post(Work work) {
    {
        const ViewerLockGuard guard(lock_);
        if (isClosed_) {
            return false;
        }
        work_.push_back(std::move(work));
    }
    wake();
    return true;
}

void ViewerPipeWireThread::quit() {
    {
        const ViewerLockGuard guard(lock_);
        isQuitRequested_ = true;
    }
    wake();
}

void ViewerPipeWireThread::wake() const {
    constexpr std::uint64_t once = 1;
    (void)::write(event_, &once, sizeof once);  // Full: it is awake already.
}

void ViewerPipeWireThread::run(int descriptor, const std::function<void()>& lost) {
    const ViewerPipeWireLibrary* const library = ViewerPipeWireLibrary::ofProcess();
    if (library != nullptr) {
        const Loop loop(*library);
        ViewerPipeWireConnection connection(*library, loop.get(), descriptor);
        serve(connection);
    } else {
        (void)::close(descriptor);  // There is nobody to be told.
        ViewerPipeWireConnection none;
        serve(none);
    }
    if (!isToQuit()) {
        lost();
    }
}

void ViewerPipeWireThread::serve(ViewerPipeWireConnection& connection) {
    if (!connection.isLost()) {
        pw_loop* const loop = connection.loop();
        pw_loop_add_io(loop, event_, SPA_IO_IN, false, forget, nullptr);
        pw_loop_enter(loop);
        while (!connection.isLost() && !isToQuit()) {
            runWork(connection);
            if (!connection.isLost() && pw_loop_iterate(loop, -1) < 0) {
                break;
            }
        }
        pw_loop_leave(loop);
    }
    connection.lose();
    do {
        runWork(connection);
    } while (!close());
}

void ViewerPipeWireThread::runWork(ViewerPipeWireConnection& connection) {
    for (const Work& each : takeWork()) {
        each(connection);
    }
}

std::vector<ViewerPipeWireThread::Work> ViewerPipeWireThread::takeWork() {
    std::vector<Work> result;
    const ViewerLockGuard guard(lock_);
    work_.swap(result);
    return result;
}

bool ViewerPipeWireThread::isToQuit() {
    const ViewerLockGuard guard(lock_);
    return isQuitRequested_;
}

bool ViewerPipeWireThread::close() {
    const ViewerLockGuard guard(lock_);
    isClosed_ = work_.empty();
    return isClosed_;
}

}  // namespace velmora
