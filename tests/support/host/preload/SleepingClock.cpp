// Loaded before everything else into the host: the clocks as a machine has them that sleeps.
// Whoever listens behind the socket that SLEEPING_CLOCK names says what happens, a byte for each
// event, and gets it back once it has: 'f', the machine falls asleep, and both clocks stand still
// from then on; 'w', it wakes up after an hour, which the clock that goes on during sleep has
// counted, and the other one has not. Both go on standing still, so that nothing happens because
// time passes.

#include <dlfcn.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

using Nanoseconds = std::int64_t;

constexpr Nanoseconds aSecond = 1'000'000'000;
constexpr Nanoseconds anHour = 3600 * aSecond;

template <typename Type>
Type next(const char* name) {
    return reinterpret_cast<Type>(::dlsym(RTLD_NEXT, name));
}

using ReadClock = int (*)(clockid_t, timespec*);
using MakeTimer = int (*)(int, int);
using SetTimer = int (*)(int, int, const itimerspec*, itimerspec*);

Nanoseconds nanosecondsOf(const timespec& time) {
    return time.tv_sec * aSecond + time.tv_nsec;
}

timespec timespecOf(Nanoseconds time) {
    return {time / aSecond, time % aSecond};
}

/// A timer of either clock, and when it is due, in its clock's time; 0 while it is not set.
struct Timer final {
    bool isThere = false;
    clockid_t clock = CLOCK_BOOTTIME;
    Nanoseconds due = 0;
};

/// Guards what follows, which is there before any constructor runs and after every destructor.
std::mutex mutex;
bool isStill = false;
/// How far each clock is ahead of the system's, and where it stands still; by the clock's number.
std::array<Nanoseconds, 16> ahead{};
std::array<Nanoseconds, 16> stillTime{};
/// By descriptor.
std::array<Timer, 1024> timers{};

bool isOfOurs(clockid_t clock) {
    return clock == CLOCK_BOOTTIME || clock == CLOCK_MONOTONIC;
}

Nanoseconds systemTime(clockid_t clock) {
    static const auto read = next<ReadClock>("clock_gettime");
    timespec time{};
    read(clock, &time);
    return nanosecondsOf(time);
}

Nanoseconds timeOf(clockid_t clock) {
    return isStill ? stillTime.at(clock) : systemTime(clock) + ahead.at(clock);
}

/// Sets the system's timer to what ours is set to. While the time stands still it fires at once or
/// never.
void set(int descriptor) {
    static const auto setSystems = next<SetTimer>("timerfd_settime");
    const Timer& timer = timers.at(descriptor);
    const bool isDue = timer.due != 0 && timer.due <= timeOf(timer.clock);
    const bool isAwaited = timer.due != 0 && !isDue && !isStill;
    const Nanoseconds place = isDue ? 1 : isAwaited ? timer.due - ahead.at(timer.clock) : 0;
    const itimerspec setting{{}, timespecOf(place)};
    setSystems(descriptor, TFD_TIMER_ABSTIME, &setting, nullptr);
}

void happen(char event) {
    const std::scoped_lock lock(mutex);
    for (const clockid_t clock : {CLOCK_BOOTTIME, CLOCK_MONOTONIC}) {
        stillTime.at(clock) = timeOf(clock);
        ahead.at(clock) = stillTime.at(clock) - systemTime(clock);
    }
    if (event == 'w') {
        stillTime.at(CLOCK_BOOTTIME) += anHour;
    }
    isStill = event != 'g';
    for (std::size_t descriptor = 0; descriptor < timers.size(); ++descriptor) {
        if (timers[descriptor].isThere) {
            set(static_cast<int>(descriptor));
        }
    }
}

void followEvents(int socket) {
    char event = 0;
    while (::read(socket, &event, 1) == 1) {
        happen(event);
        (void)!::write(socket, &event, 1);  // nobody listens any more
    }
    ::close(socket);
}

// What the host starts has clocks of its own. Runs before there is another thread.
__attribute__((constructor)) void begin() {
    const char* const path = ::getenv("SLEEPING_CLOCK");  // NOLINT(concurrency-mt-unsafe)
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::_exit(1);
    }
    ::unsetenv("LD_PRELOAD");  // NOLINT(concurrency-mt-unsafe)
    // The host's signals are its own threads' affair.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread(followEvents, socket).detach();
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

// NOLINTBEGIN(readability-identifier-naming): the system's names
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock,
                                                                    timespec* time) {
    if (!isOfOurs(clock)) {
        static const auto read = next<ReadClock>("clock_gettime");
        return read(clock, time);
    }
    const std::scoped_lock lock(mutex);
    *time = timespecOf(timeOf(clock));
    return 0;
}

extern "C" __attribute__((visibility("default"))) int timerfd_create(int clock, int flags) {
    static const auto make = next<MakeTimer>("timerfd_create");
    const int descriptor = make(clock, flags);
    const std::scoped_lock lock(mutex);
    timers.at(descriptor) = {true, clock, 0};
    return descriptor;
}

extern "C" __attribute__((visibility("default"))) int timerfd_settime(int descriptor, int flags,
                                                                      const itimerspec* setting,
                                                                      itimerspec* /*before*/) {
    const std::scoped_lock lock(mutex);
    Timer& timer = timers.at(descriptor);
    timer.due = nanosecondsOf(setting->it_value);
    if (timer.due != 0 && (flags & TFD_TIMER_ABSTIME) == 0) {
        timer.due += timeOf(timer.clock);
    }
    set(descriptor);
    return 0;
}
// NOLINTEND(readability-identifier-naming)
