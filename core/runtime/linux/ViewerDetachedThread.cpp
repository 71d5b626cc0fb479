#include "core/runtime/linux/ViewerDetachedThread.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

namespace velmora {

bool startDetachedThread(const char* name, std::function<void()> body) {
    // A thread inherits the mask of its creator, so that there is no moment when it could be hit.
    sigset_t all;
    sigset_t previous;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    bool isStarted = true;
    try {
        std::thread([name, work = std::move(body)] {
            ::pthread_setname_np(::pthread_self(), name);
            work();
        }).detach();
    } catch (const std::system_error&) {
        isStarted = false;
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    return isStarted;
}

}  // namespace velmora
