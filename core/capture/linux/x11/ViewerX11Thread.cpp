#include "core/capture/linux/x11/ViewerX11Thread.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

namespace velmora {

bool startX11Thread(const char* name, std::function<void()> body) {
    // A thread inherits the mask of its creator, so that there is no moment when it could be hit.
    sigset_t all;
    sigset_t previous;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    bool isStarted = true;
    try {
        std::thread thread(std::move(body));
        // Fails only for a thread that has already ended.
        (void)::pthread_setname_np(thread.native_handle(), name);
        thread.detach();
    } catch (const std::system_error&) {
        isStarted = false;
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return isStarted;
}

}  // namespace velmora
