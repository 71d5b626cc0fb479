#include "app/linux/ViewerLinuxSignalSource.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerIfAlive.h"

namespace velmora {

namespace {

sigset_t setOf(int signal) {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, signal);
    return set;
}

int makeDescriptor(int signal) {
    // Ignoring it anew drops what is pending.
    ignoreSignal(signal);
    const sigset_t set = setOf(signal);
    const int descriptor = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    viewerCheck(descriptor >= 0, "the system has a descriptor for the signals of the process");
    return descriptor;
}

}  // namespace

void ignoreSignal(int signal) {
    const bool isIgnored = ::signal(signal, SIG_IGN) != SIG_ERR;
    viewerCheck(isIgnored, "the signal can be ignored");
    const sigset_t set = setOf(signal);
    const int result = ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    viewerCheck(result == 0, "the signal can be blocked");
}

ViewerLinuxSignalSource::ViewerLinuxSignalSource(boost::asio::io_context& loop, int signal,
                                                 std::function<void()> handler)
    : descriptor_(loop, makeDescriptor(signal)), handler_(std::move(handler)) {}

void ViewerLinuxSignalSource::resume() {
    descriptor_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                           ifAlive(weak_from_this(), &ViewerLinuxSignalSource::received));
}

void ViewerLinuxSignalSource::cancel() {
    boost::system::error_code ignored;  // closing twice is allowed
    descriptor_.close(ignored);
}

void ViewerLinuxSignalSource::received(const boost::system::error_code& error) {
    if (error || !descriptor_.is_open()) {
        return;
    }
    signalfd_siginfo arrival;
    if (::read(descriptor_.native_handle(), &arrival, sizeof arrival) == sizeof arrival) {
        handler_();  // may cancel this source
    }
    if (descriptor_.is_open()) {
        resume();
    }
}

}  // namespace velmora
