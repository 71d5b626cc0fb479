#include "app/ViewerPlatformServices.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>

#include "app/linux/ViewerLinuxApplicationShell.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "core/runtime/linux/ViewerDescriptorLimit.h"
#include "core/runtime/linux/ViewerLoopExecutors.h"

namespace velmora {

namespace {

/// Tells the loop that one thread runs it, which saves it the wake-ups of others.
constexpr int oneThread = 1;

/// A descriptor of ours in the place of a standard one that the process was started without would
/// be written to as that one.
void occupyStandardDescriptors() {
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    (void)::close(descriptor);  // -1 where the system has no such device
}

/// A dump would hold pictures of the screen, and so would one of a program that this one starts. A
/// limit of one byte is the only one that also keeps the system from handing the memory to another
/// program.
void forbidCoreDumps() {
    const rlimit aByte{1, 1};
    (void)::setrlimit(RLIMIT_CORE, &aByte);  // refused, even less is allowed
}

/// What a capture's pictures took goes back to the system with them. Left to itself the C library
/// keeps large memory that was freed once, in a heap for each of the threads that come and go.
void giveBackLargeMemory() {
    constexpr int bytes = 128 * 1024;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is no other thread yet.
    (void)::mallopt(M_MMAP_THRESHOLD, bytes);  // takes any that is not larger than a heap
}

}  // namespace

/// One loop on the main thread carries everything that does not block, so that the executors are
/// all one. No thread is started yet: the signals are still to be blocked.
ViewerPlatformServices makePlatformServices() {
    occupyStandardDescriptors();
    raiseDescriptorLimit();
    forbidCoreDumps();
    giveBackLargeMemory();
    const auto loop = std::make_shared<boost::asio::io_context>(oneThread);
    ViewerPlatformServices services;
    const auto alerts = std::make_shared<ViewerProcessAlertPresenter>(loop);
    services.shell = std::make_shared<ViewerLinuxApplicationShell>(loop, alerts);
    services.alerts = alerts;
    services.executors = std::make_shared<ViewerLoopExecutors>(loop->get_executor());
    services.clock = std::make_shared<ViewerBoottimeClock>(*loop);
    services.transport = makeTransport(services.clock);
    services.capture = makeScreenCapture(services.executors->mainExecutor(), services.clock);
    alerts->showIn([capture = services.capture] { return capture->sessionVariables(); });
    return services;
}

}  // namespace velmora
