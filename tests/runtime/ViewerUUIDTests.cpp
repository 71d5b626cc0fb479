#include "core/runtime/ViewerUUID.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

/// The sizes that the system's random numbers were asked for, in bytes. One thread at a time.
std::vector<std::size_t> sizesAsked;

}  // namespace

// The linker puts this before every call of getentropy in the program's own code, and it asks for
// these names. NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __real_getentropy(void* bytes, std::size_t size);
extern "C" int __wrap_getentropy(void* bytes, std::size_t size) {
    sizesAsked.push_back(size);
    return __real_getentropy(bytes, size);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace velmora {
namespace {

std::vector<ViewerUUID> makeUUIDs(std::size_t count) {
    std::vector<ViewerUUID> uuids;
    uuids.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        uuids.push_back(makeRandomUUID());
    }
    return uuids;
}

TEST(ViewerUUID, AThreadAsksTheSystemOnceForAllItsUUIDs) {
    constexpr std::size_t fewestBytes = 16;
    sizesAsked.clear();
    std::thread([] { (void)makeUUIDs(100); }).join();
    ASSERT_EQ(sizesAsked.size(), 1U);
    EXPECT_GE(sizesAsked.front(), fewestBytes);
}

/// From now on every call of the system's but the one that leaves ends this process by a signal.
bool forbidEverythingButLeaving() {
    std::array<sock_filter, 4> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
    }};
    const sock_fprog filter{program.size(), program.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

bool areAllFresh() {
    ViewerUUID last = makeRandomUUID();
    bool isFresh = true;
    for (int i = 0; isFresh && i < 10'000; ++i) {
        const ViewerUUID next = makeRandomUUID();
        isFresh = next != last;
        last = next;
    }
    return isFresh;
}

/// What a child process does: its status is 0 when all went well.
void makeUUIDsWithoutTheSystem() {
    // The first one seeds; and a sanitizer makes itself at home.
    const bool holds = areAllFresh() && forbidEverythingButLeaving() && areAllFresh();
    // Not by a function that does not return: a sanitizer asks the system before it calls one.
    (void)::syscall(SYS_exit_group, holds ? EXIT_SUCCESS : EXIT_FAILURE);
}

TEST(ViewerUUID, AFurtherOneCostsNoSystemCall) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        makeUUIDsWithoutTheSystem();
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "killed for a system call";
    EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS);
}

TEST(ViewerUUID, AllAreRandomOnesAndNoTwoAreAlike) {
    std::vector<ViewerUUID> uuids = makeUUIDs(1000);
    std::thread([&] {
        for (const ViewerUUID& uuid : makeUUIDs(1000)) {
            uuids.push_back(uuid);
        }
    }).join();
    for (const ViewerUUID& uuid : uuids) {
        EXPECT_EQ(uuid.version(), ViewerUUID::version_random_number_based);
        EXPECT_EQ(uuid.variant(), ViewerUUID::variant_rfc_4122);
    }
    EXPECT_EQ(std::set<ViewerUUID>(uuids.begin(), uuids.end()).size(), uuids.size());
}

TEST(ViewerUUID, ATokenIsTheDigitsAlone) {
    const std::string token = makeRandomToken();
    EXPECT_EQ(token.size(), 32U);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
    EXPECT_NE(token, makeRandomToken());
}

}  // namespace
}  // namespace velmora
