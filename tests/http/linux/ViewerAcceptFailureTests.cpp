#include "core/http/linux/ViewerAcceptFailure.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace velmora {

TEST(ViewerAcceptFailure, ALostConnectionIsNoReasonToStop) {
    for (const int error : {EAGAIN, ECONNABORTED, EINTR, EPROTO, ENETDOWN, ENETUNREACH, ENONET,
                            ENOPROTOOPT, EHOSTDOWN, EHOSTUNREACH}) {
        EXPECT_EQ(acceptFailure(error), ViewerAcceptFailure::connectionGone) << error;
    }
}

TEST(ViewerAcceptFailure, DescriptorsAndMemoryRunOutAlike) {
    for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM}) {
        EXPECT_EQ(acceptFailure(error), ViewerAcceptFailure::exhausted) << error;
    }
}

TEST(ViewerAcceptFailure, AnUnknownErrorMakesNoListenerSpin) {
    EXPECT_EQ(acceptFailure(EPERM), ViewerAcceptFailure::exhausted);
    EXPECT_EQ(acceptFailure(EIO), ViewerAcceptFailure::exhausted);
}

TEST(ViewerAcceptFailure, ASocketThatDoesNotListenIsBroken) {
    for (const int error : {EBADF, EINVAL, ENOTSOCK}) {
        EXPECT_EQ(acceptFailure(error), ViewerAcceptFailure::listenerBroken) << error;
    }
}

}  // namespace velmora
