#include "core/runtime/linux/ViewerDescriptorLimit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

namespace velmora {
namespace {

rlimit ownLimit() {
    rlimit limit{};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    return limit;
}

/// Whether that holds in a process of its own with that soft limit.
bool holdsWith(rlim_t softLimit, const std::function<bool()>& statement) {
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{softLimit, ownLimit().rlim_max};
        const bool holds = ::setrlimit(RLIMIT_NOFILE, &limit) == 0 && statement();
        ::_exit(holds ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = 0;
    return ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
           WEXITSTATUS(status) == EXIT_SUCCESS;
}

TEST(ViewerDescriptorLimit, IsRaisedToTheHardOneAtMost16384) {
    const rlim_t hard = ownLimit().rlim_max;
    EXPECT_TRUE(holdsWith(256, [hard] {
        raiseDescriptorLimit();
        return ownLimit().rlim_cur == std::min<rlim_t>(hard, 16'384) && ownLimit().rlim_max == hard;
    }));
    EXPECT_TRUE(holdsWith(256, [] {
        const rlimit few{256, 1024};
        const bool isSet = ::setrlimit(RLIMIT_NOFILE, &few) == 0;
        raiseDescriptorLimit();
        return isSet && ownLimit().rlim_cur == 1024;
    }));
}

TEST(ViewerDescriptorLimit, OneThatIsHigherStays) {
    const rlim_t hard = ownLimit().rlim_max;
    EXPECT_TRUE(holdsWith(hard, [hard] {
        raiseDescriptorLimit();
        return ownLimit().rlim_cur == hard;
    }));
}

TEST(ViewerDescriptorLimit, TheOriginalOneIsThereForAWhile) {
    EXPECT_TRUE(holdsWith(256, [] {
        raiseDescriptorLimit();
        const rlim_t raised = ownLimit().rlim_cur;
        rlim_t meanwhile = 0;
        {
            const ViewerOriginalDescriptorLimit original;
            meanwhile = ownLimit().rlim_cur;
        }
        return meanwhile == 256 && raised > 256 && ownLimit().rlim_cur == raised;
    }));
}

TEST(ViewerDescriptorLimit, OneThatWasNotRaisedIsTheOriginal) {
    EXPECT_TRUE(holdsWith(300, [] {
        const ViewerOriginalDescriptorLimit original;
        return ownLimit().rlim_cur == 300;
    }));
}

TEST(ViewerDescriptorLimit, TheLast32AreReservedOrAQuarterOfFew) {
    struct Case final {
        rlim_t limit;
        int firstReserved;
    };
    for (const Case& each : {Case{1024, 992}, Case{129, 97}, Case{128, 96}, Case{127, 96},
                             Case{64, 48}, Case{20, 15}}) {
        EXPECT_TRUE(holdsWith(each.limit, [&each] {
            return firstReservedDescriptor() == each.firstReserved;
        })) << each.limit;
    }
}

}  // namespace
}  // namespace velmora
